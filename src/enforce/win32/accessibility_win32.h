#pragma once
// The accessibility layer on Windows: UI Automation where it can be created,
// MSAA otherwise (Wine has no UI Automation client). Both count the calls they
// make into the layer, which is what a read costs a browser.

#include <cstdint>
#include <memory>
#include <vector>

#include "enforce/win32/uia.h"
#include "platform/accessibility.h"

namespace ombrix::win32 {

class CountedAccessibility : public platform::Accessibility {
public:
    // Calls into the accessibility layer so far (searches, reads, conditions).
    [[nodiscard]] std::uint64_t accessibilityCalls() const noexcept { return *calls_; }
    [[nodiscard]] virtual bool isUiAutomation() const noexcept = 0;

    std::vector<platform::WindowId> desktopWindows() override;
    bool isVisible(platform::WindowId window) override;
    std::uint16_t userInterfaceLanguage() override;

protected:
    // Shared with the elements handed out, which may outlive a search.
    std::shared_ptr<std::uint64_t> calls_ = std::make_shared<std::uint64_t>(0);
};

// UI Automation over the system's automation object; null when it cannot be
// created. COM must be initialised on the calling thread.
[[nodiscard]] std::unique_ptr<CountedAccessibility> makeUiAutomation();
// Over a given automation object (it is shared, not taken over).
[[nodiscard]] std::unique_ptr<CountedAccessibility> makeUiAutomation(uia::IUIAutomation* automation);
[[nodiscard]] std::unique_ptr<CountedAccessibility> makeMsaa();

enum class AccessibilityChoice { Automatic, Msaa };
// Automatic: UI Automation, else MSAA.
[[nodiscard]] std::unique_ptr<CountedAccessibility> makeAccessibility(AccessibilityChoice choice);

}  // namespace ombrix::win32
