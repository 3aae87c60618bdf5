#pragma once
// A fake desktop: top-level windows in z-order, each with a title, a class
// and a flat list of accessible elements in tree order. It answers the window
// seam (the enforcement finds, shows and closes windows by title; the address
// readers find them by class) and the accessibility seam, counts searches and
// reads, and writes what it is asked to do to windows into a journal.

#include <algorithm>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "fakes/fake_controller.h"
#include "platform/accessibility.h"
#include "platform/windows.h"
#include "platform/text.h"

namespace ombrix::test {

struct FakeNode {
    std::string name;
    std::string help;
    bool edit = false;
    std::string value;
    bool focused = false;
    bool alive = true;  // false: the element no longer answers
    std::string automationId = {};
};

struct FakeWindow {
    platform::WindowId id = 0;
    std::string className;
    bool visible = true;
    std::vector<std::shared_ptr<FakeNode>> nodes;  // tree order
    std::string title;
    std::uint32_t pid = 0;  // 0: the process cannot be told
};

class FakeDesktop final : public platform::WindowSystem, public platform::Accessibility {
public:
    explicit FakeDesktop(Journal* journal = nullptr) : journal_(journal) {}

    std::vector<FakeWindow> windows;  // z-order, front first
    std::uint16_t uiLanguage = 0x0410;
    int searches = 0;  // findFirst calls
    // Runs inside findFirst, as the messages a cross-process call lets in.
    std::function<void()> duringSearch;
    int reads = 0;     // value and focus reads
    platform::WindowId nextId = 0x100;

    // Adds a window behind the others (or in front) and returns its id; `reuse`
    // gives it the handle of a window that has closed.
    platform::WindowId addWindow(const std::string& className, bool visible = true, bool inFront = false,
                                 platform::WindowId reuse = 0) {
        FakeWindow w{reuse != 0 ? reuse : nextId++, className, visible, {}, {}};
        const auto id = w.id;
        windows.insert(inFront ? windows.begin() : windows.end(), std::move(w));
        return id;
    }
    // A window of another program with a title.
    platform::WindowId add(std::string title) {
        const auto id = addWindow("Finestra");
        find(id)->title = std::move(title);
        return id;
    }
    std::shared_ptr<FakeNode> addNode(platform::WindowId window, FakeNode node) {
        auto shared = std::make_shared<FakeNode>(std::move(node));
        find(window)->nodes.push_back(shared);
        return shared;
    }
    std::vector<FakeWindow>::iterator at(platform::WindowId id) {
        return std::find_if(windows.begin(), windows.end(), [&](const FakeWindow& w) { return w.id == id; });
    }
    FakeWindow* find(platform::WindowId id) { return at(id) == windows.end() ? nullptr : &*at(id); }
    void closeWindow(platform::WindowId id) {
        for (auto& n : at(id)->nodes) n->alive = false;
        windows.erase(at(id));
    }
    void bringToFront(platform::WindowId id) { std::rotate(windows.begin(), at(id), at(id) + 1); }

    // WindowSystem. A posted close is only noted: the window handles it later.
    std::vector<platform::WindowId> findByTitles(const std::vector<std::string>& titles) override {
        ++titleWalks;
        std::vector<platform::WindowId> found;
        for (const std::string& title : titles) {
            const auto w = std::find_if(windows.begin(), windows.end(),
                                        [&](const FakeWindow& f) { return equalsNoCase(f.title, title); });
            found.push_back(title.empty() || w == windows.end() ? 0 : w->id);
        }
        return found;
    }
    int titleWalks = 0;
    platform::WindowId findByClass(std::string_view className, platform::WindowId after) override {
        bool past = after == 0;
        for (const auto& w : windows) {
            if (past && w.className == className) return w.id;
            if (w.id == after) past = true;
        }
        return 0;
    }
    std::vector<platform::WindowId> topLevelWindows() override { return ids(false); }
    std::string title(platform::WindowId id) override {
        const FakeWindow* w = find(id);
        return w ? w->title : std::string();
    }
    void show(platform::WindowId id, platform::ShowCommand c) override {
        note("show " + title(id) + " " + std::to_string(static_cast<int>(c)));
    }
    void postClose(platform::WindowId id) override { note("close " + title(id)); }
    std::uint32_t processId(platform::WindowId id) override {
        const FakeWindow* w = find(id);
        return w ? w->pid : 0;
    }
    void setTopmost(platform::WindowId id, bool topmost) override {
        note((topmost ? "topmost " : "not topmost ") + title(id));
    }

    // Accessibility.
    std::vector<platform::WindowId> desktopWindows() override { return ids(false); }
    bool isVisible(platform::WindowId window) override {
        const FakeWindow* w = find(window);
        return w != nullptr && w->visible;
    }
    std::unique_ptr<platform::AccessibleElement> findFirst(platform::WindowId window,
                                                           const platform::AccessibleQuery& query) override {
        ++searches;
        if (duringSearch) duringSearch();
        FakeWindow* w = find(window);
        if (w == nullptr) return nullptr;
        for (const auto& node : w->nodes) {
            const std::string& text = query.property == platform::AccessibleText::Name ? node->name
                                      : query.property == platform::AccessibleText::Help ? node->help
                                                                                         : node->automationId;
            if (text == query.text && (!query.editOnly || node->edit)) return std::make_unique<Element>(node, reads);
        }
        return nullptr;
    }
    std::uint16_t userInterfaceLanguage() override { return uiLanguage; }

private:
    std::vector<platform::WindowId> ids(bool visibleOnly) const {
        std::vector<platform::WindowId> out;
        for (const auto& w : windows) {
            if (w.visible || !visibleOnly) out.push_back(w.id);
        }
        return out;
    }
    void note(std::string entry) {
        if (journal_ != nullptr) journal_->add(std::move(entry));
    }

    class Element final : public platform::AccessibleElement {
    public:
        Element(std::shared_ptr<FakeNode> node, int& reads) : node_(std::move(node)), reads_(reads) {}
        std::optional<std::string> value() override {
            ++reads_;
            if (!node_->alive) return std::nullopt;
            return node_->value;
        }
        std::optional<bool> hasKeyboardFocus() override {
            ++reads_;
            if (!node_->alive) return std::nullopt;
            return node_->focused;
        }

    private:
        std::shared_ptr<FakeNode> node_;
        int& reads_;
    };

    Journal* journal_;
};

}  // namespace ombrix::test
