#pragma once
// A fake desktop for the address readers: top-level windows in z-order, each
// with a flat list of accessible elements in tree order. It answers both the
// window seam (finding windows by class) and the accessibility seam, and
// counts the searches and reads it is asked for.

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "platform/accessibility.h"
#include "platform/windows.h"

namespace ombrix::test {

struct FakeNode {
    std::string name;
    std::string help;
    bool edit = false;
    std::string value;
    bool focused = false;
    bool alive = true;  // false: the element no longer answers
};

struct FakeWindow {
    platform::WindowId id = 0;
    std::string className;
    bool visible = true;
    std::vector<std::shared_ptr<FakeNode>> nodes;  // tree order
};

class FakeDesktop final : public platform::WindowSystem, public platform::Accessibility {
public:
    std::vector<FakeWindow> windows;  // z-order, front first
    std::uint16_t uiLanguage = 0x0410;
    int searches = 0;  // findFirst calls
    int reads = 0;     // value and focus reads
    platform::WindowId nextId = 0x100;

    // Adds a window behind the others (or in front) and returns its id; `reuse`
    // gives it the handle of a window that has closed.
    platform::WindowId addWindow(const std::string& className, bool visible = true, bool inFront = false,
                                 platform::WindowId reuse = 0) {
        FakeWindow w{reuse != 0 ? reuse : nextId++, className, visible, {}};
        const auto id = w.id;
        if (inFront) {
            windows.insert(windows.begin(), std::move(w));
        } else {
            windows.push_back(std::move(w));
        }
        return id;
    }
    std::shared_ptr<FakeNode> addNode(platform::WindowId window, FakeNode node) {
        auto shared = std::make_shared<FakeNode>(std::move(node));
        find(window)->nodes.push_back(shared);
        return shared;
    }
    void closeWindow(platform::WindowId id) {
        const auto it = std::find_if(windows.begin(), windows.end(), [&](const FakeWindow& w) { return w.id == id; });
        if (it == windows.end()) return;
        for (auto& n : it->nodes) n->alive = false;
        windows.erase(it);
    }
    void bringToFront(platform::WindowId id) {
        const auto it = std::find_if(windows.begin(), windows.end(), [&](const FakeWindow& w) { return w.id == id; });
        std::rotate(windows.begin(), it, it + 1);
    }
    FakeWindow* find(platform::WindowId id) {
        for (auto& w : windows) {
            if (w.id == id) return &w;
        }
        return nullptr;
    }

    // WindowSystem: only what the readers use does anything.
    platform::WindowId findByTitle(std::string_view) override { return 0; }
    platform::WindowId findByClass(std::string_view className, platform::WindowId after) override {
        bool past = after == 0;
        for (const auto& w : windows) {
            if (past && w.className == className) return w.id;
            if (w.id == after) past = true;
        }
        return 0;
    }
    std::vector<platform::WindowId> topLevelWindows() override {
        std::vector<platform::WindowId> ids;
        for (const auto& w : windows) ids.push_back(w.id);
        return ids;
    }
    std::string title(platform::WindowId) override { return {}; }
    void show(platform::WindowId, platform::ShowCommand) override {}
    void postClose(platform::WindowId) override {}
    void setTopmost(platform::WindowId, bool) override {}

    // Accessibility.
    std::vector<platform::WindowId> desktopWindows() override {
        std::vector<platform::WindowId> ids;
        for (const auto& w : windows) {
            if (w.visible) ids.push_back(w.id);
        }
        return ids;
    }
    std::unique_ptr<platform::AccessibleElement> findFirst(platform::WindowId window,
                                                           const platform::AccessibleQuery& query) override {
        ++searches;
        FakeWindow* w = find(window);
        if (w == nullptr) return nullptr;
        for (const auto& node : w->nodes) {
            const std::string& text = query.property == platform::AccessibleText::Name ? node->name : node->help;
            if (text == query.text && (!query.editOnly || node->edit)) return std::make_unique<Element>(node, reads);
        }
        return nullptr;
    }
    std::uint16_t userInterfaceLanguage() override { return uiLanguage; }

private:
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
};

}  // namespace ombrix::test
