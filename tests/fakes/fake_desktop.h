#pragma once
// A fake desktop: top-level windows in z-order, each with a title, a class and accessible elements
// in tree order. It answers the window and accessibility seams, counts searches, and journals.
#include "fakes/fake_controller.h"
#include "platform/accessibility.h"
#include "platform/text.h"
#include "platform/windows.h"

namespace ombrix::test {

struct FakeNode {
    std::string name, help;
    bool edit = false;
    std::string value;
    bool focused = false, alive = true;  // alive false: the element no longer answers
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
    int searches = 0, titleWalks = 0;  // findFirst calls; findByTitles calls
    platform::WindowId nextId = 0x100;
    // Adds a window behind the others (or in front); `reuse` gives it the handle of a window that has closed.
    platform::WindowId addWindow(const std::string& className, bool visible = true, bool inFront = false,
                                 platform::WindowId reuse = 0) {
        const auto id = reuse != 0 ? reuse : nextId++;
        windows.insert(inFront ? windows.begin() : windows.end(), FakeWindow{id, className, visible, {}, {}});
        return id;
    }
    // A window of another program with a title.
    platform::WindowId add(std::string title) { return find(addWindow("Finestra"))->title = std::move(title), nextId - 1; }
    std::shared_ptr<FakeNode> addNode(platform::WindowId window, FakeNode node) {
        return find(window)->nodes.emplace_back(std::make_shared<FakeNode>(std::move(node)));
    }
    FakeWindow* find(platform::WindowId id) { return at(id) == windows.end() ? nullptr : &*at(id); }
    void closeWindow(platform::WindowId id) { for (auto& n : at(id)->nodes) n->alive = false; windows.erase(at(id)); }
    void bringToFront(platform::WindowId id) { std::rotate(windows.begin(), at(id), at(id) + 1); }
    // WindowSystem. A posted close is only noted: the window handles it later.
    std::vector<platform::WindowId> findByTitles(const std::vector<std::string>& titles) override {
        ++titleWalks;
        std::vector<platform::WindowId> found;
        for (const std::string& t : titles) {
            const auto w = std::ranges::find_if(windows, [&](const FakeWindow& x) { return equalsNoCase(x.title, t); });
            found.push_back(t.empty() || w == windows.end() ? 0 : w->id);
        }
        return found;
    }
    platform::WindowId findByClass(std::string_view className, platform::WindowId after) override {
        bool past = after == 0;
        for (const auto& w : windows) {
            if (past && w.className == className) return w.id;
            past = past || w.id == after;
        }
        return 0;
    }
    std::vector<platform::WindowId> topLevelWindows() override {
        std::vector<platform::WindowId> out;
        for (const auto& w : windows) out.push_back(w.id);
        return out;
    }
    std::string title(platform::WindowId id) override { return find(id) ? find(id)->title : std::string(); }
    void show(platform::WindowId id, platform::ShowCommand c) override { note("show " + title(id) + " " + std::to_string(int(c))); }
    void postClose(platform::WindowId id) override { note("close " + title(id)); }
    std::uint32_t processId(platform::WindowId id) override { return find(id) ? find(id)->pid : 0; }
    void setTopmost(platform::WindowId id, bool on) override { note((on ? "topmost " : "not topmost ") + title(id)); }
    // Accessibility.
    std::vector<platform::WindowId> desktopWindows() override { return topLevelWindows(); }
    bool isVisible(platform::WindowId window) override { return find(window) && find(window)->visible; }
    std::unique_ptr<platform::AccessibleElement> findFirst(platform::WindowId window,
                                                           const platform::AccessibleQuery& query) override {
        ++searches;
        for (const auto& node : find(window) ? find(window)->nodes : std::vector<std::shared_ptr<FakeNode>>{}) {
            const std::string& text = query.property == platform::AccessibleText::Name ? node->name
                                      : query.property == platform::AccessibleText::Help ? node->help
                                                                                         : node->automationId;
            if (text == query.text && (!query.editOnly || node->edit)) return std::make_unique<Element>(node);
        }
        return nullptr;
    }
    std::uint16_t userInterfaceLanguage() override { return uiLanguage; }
private:
    std::vector<FakeWindow>::iterator at(platform::WindowId id) {
        return std::ranges::find_if(windows, [&](const FakeWindow& w) { return w.id == id; });
    }
    void note(std::string entry) { if (journal_ != nullptr) journal_->add(std::move(entry)); }
    // Answers nothing once the element is gone.
    struct Element final : platform::AccessibleElement {
        explicit Element(std::shared_ptr<FakeNode> node) : node_(std::move(node)) {}
        std::optional<std::string> value() override { return read(node_->value); }
        std::optional<bool> hasKeyboardFocus() override { return read(node_->focused); }
        template <class T>
        std::optional<T> read(const T& v) { return node_->alive ? std::optional<T>(v) : std::nullopt; }
        std::shared_ptr<FakeNode> node_;
    };
    Journal* journal_;
};

}  // namespace ombrix::test
