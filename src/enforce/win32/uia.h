#pragma once
// The few UI Automation client interfaces the address readers call, declared
// here because MinGW's headers lack them. The order of the virtual functions
// is the interfaces' documented vtable order; the methods we never call are
// placeholders that only hold their slot. The Win32 tests call each slot we
// use against Wine's own implementation.

#include <windows.h>
#include <oaidl.h>

namespace ombrix::win32::uia {

using PropertyId = int;
using ControlTypeId = int;

inline constexpr PropertyId kControlTypeProperty = 30003;
inline constexpr PropertyId kHasKeyboardFocusProperty = 30008;
inline constexpr PropertyId kAutomationIdProperty = 30011;
inline constexpr PropertyId kLegacyNameProperty = 30092;
inline constexpr PropertyId kLegacyValueProperty = 30093;
inline constexpr PropertyId kLegacyHelpProperty = 30097;
inline constexpr ControlTypeId kEditControlType = 50004;

// TreeScope_Descendants.
inline constexpr int kScopeDescendants = 4;

inline constexpr GUID kClsidCUIAutomation = {0xff48dba4, 0x60ef, 0x4201, {0xaa, 0x87, 0x54, 0x10, 0x3e, 0xef, 0x59, 0x4e}};
inline constexpr GUID kIidIUIAutomation = {0x30cbe57d, 0xd9d0, 0x452a, {0xab, 0x13, 0x7a, 0xc5, 0xac, 0x48, 0x25, 0xee}};
inline constexpr GUID kIidIUIAutomationElement = {0xd22108aa, 0x8ac5, 0x49a5, {0x83, 0x7b, 0x37, 0xbb, 0xb3, 0xd7, 0x59, 0x1e}};
inline constexpr GUID kIidIUIAutomationCondition = {0x352ffba8, 0x0973, 0x437c, {0xa6, 0x1f, 0xf6, 0x4c, 0xaf, 0xd8, 0x1d, 0xf9}};

// COM objects are released, never deleted through these pointers: the
// interfaces have no destructor of their own, as their C layout requires.
#if defined(__GNUC__)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"
#endif

struct IUIAutomationCondition : public IUnknown {};

struct IUIAutomationElement : public IUnknown {
    virtual HRESULT STDMETHODCALLTYPE notUsed03() = 0;  // SetFocus
    virtual HRESULT STDMETHODCALLTYPE notUsed04() = 0;  // GetRuntimeId
    virtual HRESULT STDMETHODCALLTYPE FindFirst(int scope, IUIAutomationCondition* condition,
                                                IUIAutomationElement** found) = 0;
    virtual HRESULT STDMETHODCALLTYPE notUsed06() = 0;  // FindAll
    virtual HRESULT STDMETHODCALLTYPE notUsed07() = 0;  // FindFirstBuildCache
    virtual HRESULT STDMETHODCALLTYPE notUsed08() = 0;  // FindAllBuildCache
    virtual HRESULT STDMETHODCALLTYPE notUsed09() = 0;  // BuildUpdatedCache
    virtual HRESULT STDMETHODCALLTYPE GetCurrentPropertyValue(PropertyId property, VARIANT* value) = 0;
};

struct IUIAutomation : public IUnknown {
    virtual HRESULT STDMETHODCALLTYPE notUsed03() = 0;  // CompareElements
    virtual HRESULT STDMETHODCALLTYPE notUsed04() = 0;  // CompareRuntimeIds
    virtual HRESULT STDMETHODCALLTYPE notUsed05() = 0;  // GetRootElement
    virtual HRESULT STDMETHODCALLTYPE ElementFromHandle(HWND window, IUIAutomationElement** element) = 0;
    virtual HRESULT STDMETHODCALLTYPE notUsed07() = 0;  // ElementFromPoint
    virtual HRESULT STDMETHODCALLTYPE notUsed08() = 0;  // GetFocusedElement
    virtual HRESULT STDMETHODCALLTYPE notUsed09() = 0;  // GetRootElementBuildCache
    virtual HRESULT STDMETHODCALLTYPE notUsed10() = 0;  // ElementFromHandleBuildCache
    virtual HRESULT STDMETHODCALLTYPE notUsed11() = 0;  // ElementFromPointBuildCache
    virtual HRESULT STDMETHODCALLTYPE notUsed12() = 0;  // GetFocusedElementBuildCache
    virtual HRESULT STDMETHODCALLTYPE notUsed13() = 0;  // CreateTreeWalker
    virtual HRESULT STDMETHODCALLTYPE notUsed14() = 0;  // get_ControlViewWalker
    virtual HRESULT STDMETHODCALLTYPE notUsed15() = 0;  // get_ContentViewWalker
    virtual HRESULT STDMETHODCALLTYPE notUsed16() = 0;  // get_RawViewWalker
    virtual HRESULT STDMETHODCALLTYPE notUsed17() = 0;  // get_RawViewCondition
    virtual HRESULT STDMETHODCALLTYPE notUsed18() = 0;  // get_ControlViewCondition
    virtual HRESULT STDMETHODCALLTYPE notUsed19() = 0;  // get_ContentViewCondition
    virtual HRESULT STDMETHODCALLTYPE notUsed20() = 0;  // CreateCacheRequest
    virtual HRESULT STDMETHODCALLTYPE notUsed21() = 0;  // CreateTrueCondition
    virtual HRESULT STDMETHODCALLTYPE notUsed22() = 0;  // CreateFalseCondition
    // VARIANT by value, as declared by the interface.
    virtual HRESULT STDMETHODCALLTYPE CreatePropertyCondition(PropertyId property, VARIANT value,
                                                              IUIAutomationCondition** condition) = 0;
    virtual HRESULT STDMETHODCALLTYPE notUsed24() = 0;  // CreatePropertyConditionEx
    virtual HRESULT STDMETHODCALLTYPE CreateAndCondition(IUIAutomationCondition* first, IUIAutomationCondition* second,
                                                         IUIAutomationCondition** condition) = 0;
};

#if defined(__GNUC__)
#pragma GCC diagnostic pop
#endif

}  // namespace ombrix::win32::uia
