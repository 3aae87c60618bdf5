#include "browser/win32/web_browser_host.h"

#include <exdispid.h>
#include <mshtml.h>
#include <ocidl.h>
#include <ole2.h>

#include <atomic>
#include <utility>

#include "platform/failures.h"
#include "platform/win32/wide.h"

namespace ombrix::win32 {

namespace {

// An event argument the control may pass by value or by reference.
const VARIANT* deref(const VARIANT& v) {
    if (v.vt == (VT_BYREF | VT_VARIANT) && v.pvarVal) return v.pvarVal;
    return &v;
}

std::string textArgument(const VARIANT& v) {
    const VARIANT* p = deref(v);
    if (p->vt == VT_BSTR) return fromBstr(p->bstrVal);
    if (p->vt == (VT_BYREF | VT_BSTR) && p->pbstrVal) return fromBstr(*p->pbstrVal);
    return {};
}

long longArgument(const VARIANT& v) {
    const VARIANT* p = deref(v);
    if (p->vt == VT_I4) return p->lVal;
    if (p->vt == (VT_BYREF | VT_I4) && p->plVal) return *p->plVal;
    return 0;
}

void setCancel(const VARIANT& v, bool cancel) {
    if (v.vt == (VT_BYREF | VT_BOOL) && v.pboolVal) *v.pboolVal = cancel ? VARIANT_TRUE : VARIANT_FALSE;
}

}  // namespace

// COM interfaces are released through Release, never deleted through a
// base pointer: their destructors are not virtual by design.
#if defined(__GNUC__)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"
#endif

// The control's container: its client site, its in-place site and the frame
// it asks for. One window, the parent's, serves them all.
class WebBrowserHost::Site final : public IOleClientSite, public IOleInPlaceSite, public IOleInPlaceFrame {
public:
    explicit Site(HWND parent) : parent_(parent) {}

    // IUnknown
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** out) override {
        if (!out) return E_POINTER;
        if (iid == IID_IUnknown || iid == IID_IOleClientSite) {
            *out = static_cast<IOleClientSite*>(this);
        } else if (iid == IID_IOleInPlaceSite || iid == IID_IOleWindow) {
            *out = static_cast<IOleInPlaceSite*>(this);
        } else if (iid == IID_IOleInPlaceFrame || iid == IID_IOleInPlaceUIWindow) {
            *out = static_cast<IOleInPlaceFrame*>(this);
        } else {
            *out = nullptr;
            return E_NOINTERFACE;
        }
        AddRef();
        return S_OK;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return ++refs_; }
    ULONG STDMETHODCALLTYPE Release() override {
        const ULONG left = --refs_;
        if (left == 0) delete this;
        return left;
    }

    // IOleClientSite: no storage, nothing to save.
    HRESULT STDMETHODCALLTYPE SaveObject() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetMoniker(DWORD, DWORD, IMoniker** out) override {
        if (out) *out = nullptr;
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE GetContainer(IOleContainer** out) override {
        if (out) *out = nullptr;
        return E_NOINTERFACE;
    }
    HRESULT STDMETHODCALLTYPE ShowObject() override { return S_OK; }
    HRESULT STDMETHODCALLTYPE OnShowWindow(BOOL) override { return S_OK; }
    HRESULT STDMETHODCALLTYPE RequestNewObjectLayout() override { return E_NOTIMPL; }

    // IOleWindow (shared by the in-place site and the frame)
    HRESULT STDMETHODCALLTYPE GetWindow(HWND* out) override {
        if (!out) return E_POINTER;
        *out = parent_;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE ContextSensitiveHelp(BOOL) override { return E_NOTIMPL; }

    // IOleInPlaceSite
    HRESULT STDMETHODCALLTYPE CanInPlaceActivate() override { return S_OK; }
    HRESULT STDMETHODCALLTYPE OnInPlaceActivate() override { return S_OK; }
    HRESULT STDMETHODCALLTYPE OnUIActivate() override { return S_OK; }
    HRESULT STDMETHODCALLTYPE GetWindowContext(IOleInPlaceFrame** frame, IOleInPlaceUIWindow** doc, LPRECT pos,
                                               LPRECT clip, LPOLEINPLACEFRAMEINFO info) override {
        if (!frame || !doc || !pos || !clip || !info) return E_POINTER;
        *frame = static_cast<IOleInPlaceFrame*>(this);
        AddRef();
        *doc = nullptr;  // the frame is the only window of ours
        GetClientRect(parent_, pos);
        *clip = *pos;
        info->fMDIApp = FALSE;
        info->hwndFrame = parent_;
        info->haccel = nullptr;
        info->cAccelEntries = 0;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE Scroll(SIZE) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE OnUIDeactivate(BOOL) override { return S_OK; }
    HRESULT STDMETHODCALLTYPE OnInPlaceDeactivate() override { return S_OK; }
    HRESULT STDMETHODCALLTYPE DiscardUndoState() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE DeactivateAndUndo() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE OnPosRectChange(LPCRECT rect) override {
        // The control asks for a new place: give it, clipped to itself.
        ComPtr<IOleInPlaceObject> inPlace;
        if (rect && object_ && SUCCEEDED(object_->QueryInterface(IID_IOleInPlaceObject, inPlace.putVoid()))) {
            inPlace->SetObjectRects(rect, rect);
        }
        return S_OK;
    }

    // IOleInPlaceUIWindow / IOleInPlaceFrame: no menus, tools or status bar
    // of the control's are merged into ours.
    HRESULT STDMETHODCALLTYPE GetBorder(LPRECT) override { return INPLACE_E_NOTOOLSPACE; }
    HRESULT STDMETHODCALLTYPE RequestBorderSpace(LPCBORDERWIDTHS) override { return INPLACE_E_NOTOOLSPACE; }
    HRESULT STDMETHODCALLTYPE SetBorderSpace(LPCBORDERWIDTHS) override { return S_OK; }
    HRESULT STDMETHODCALLTYPE SetActiveObject(IOleInPlaceActiveObject* active, LPCOLESTR) override {
        active_ = ComPtr<IOleInPlaceActiveObject>::share(active);
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE InsertMenus(HMENU, LPOLEMENUGROUPWIDTHS) override { return S_OK; }
    HRESULT STDMETHODCALLTYPE SetMenu(HMENU, HOLEMENU, HWND) override { return S_OK; }
    HRESULT STDMETHODCALLTYPE RemoveMenus(HMENU) override { return S_OK; }
    HRESULT STDMETHODCALLTYPE SetStatusText(LPCOLESTR) override { return S_OK; }
    HRESULT STDMETHODCALLTYPE EnableModeless(BOOL) override { return S_OK; }
    HRESULT STDMETHODCALLTYPE TranslateAccelerator(LPMSG, WORD) override { return S_FALSE; }

    // The object whose place the site answers for; cleared when it goes.
    void attach(IOleObject* object) { object_ = ComPtr<IOleObject>::share(object); }
    void detach() {
        object_.reset();
        active_.reset();
    }
    [[nodiscard]] IOleInPlaceActiveObject* active() const { return active_.get(); }

private:
    ~Site() = default;
    HWND parent_;
    std::atomic<ULONG> refs_{1};
    ComPtr<IOleObject> object_;
    ComPtr<IOleInPlaceActiveObject> active_;
};

// The control's navigation events, turned into calls on the owner's
// handler. Nothing thrown by the handler reaches the control.
class WebBrowserHost::Sink final : public IDispatch {
public:
    explicit Sink(WebBrowserEvents& events) : events_(&events) {}

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** out) override {
        if (!out) return E_POINTER;
        if (iid == IID_IUnknown || iid == IID_IDispatch || iid == DIID_DWebBrowserEvents2) {
            *out = static_cast<IDispatch*>(this);
            AddRef();
            return S_OK;
        }
        *out = nullptr;
        return E_NOINTERFACE;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return ++refs_; }
    ULONG STDMETHODCALLTYPE Release() override {
        const ULONG left = --refs_;
        if (left == 0) delete this;
        return left;
    }
    HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT* count) override {
        if (count) *count = 0;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT, LCID, ITypeInfo**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Invoke(DISPID id, REFIID, LCID, WORD, DISPPARAMS* params, VARIANT*, EXCEPINFO*,
                                     UINT*) override {
        if (!events_ || !params) return S_OK;
        // The arguments come last first.
        const VARIANT* a = params->rgvarg;
        const UINT n = params->cArgs;
        platform::guarded([&] {
            switch (id) {
                case DISPID_BEFORENAVIGATE2:
                    // pDisp, URL, Flags, TargetFrameName, PostData, Headers, Cancel
                    if (n >= 7) {
                        const bool topLevel = isTopLevel(a[6]);
                        setCancel(a[0], events_->beforeNavigate(textArgument(a[5]), topLevel));
                    }
                    break;
                case DISPID_NAVIGATECOMPLETE2:
                    if (n >= 2 && isTopLevel(a[1])) events_->navigateComplete(textArgument(a[0]));
                    break;
                case DISPID_PROGRESSCHANGE:
                    if (n >= 2) events_->progressChange(longArgument(a[1]), longArgument(a[0]));
                    break;
                case DISPID_NEWWINDOW2:
                    // ppDisp, Cancel
                    if (n >= 2 && a[1].vt == (VT_BYREF | VT_DISPATCH) && a[1].ppdispVal) {
                        ComPtr<IDispatch> window;
                        const bool cancel = events_->newWindow(window.put());
                        if (!cancel && window) *a[1].ppdispVal = window.release();
                        setCancel(a[0], cancel);
                    }
                    break;
                default: break;
            }
        });
        return S_OK;
    }

    void attach(IWebBrowser2* browser) { browser_ = browser; }
    // After this no event reaches the owner, though the control may still
    // hold the sink for a while.
    void detach() {
        events_ = nullptr;
        browser_ = nullptr;
    }

private:
    ~Sink() = default;
    // An event from the top-level page rather than a frame inside it: the
    // sender is the control itself.
    bool isTopLevel(const VARIANT& sender) const {
        const VARIANT* p = deref(sender);
        if (p->vt != VT_DISPATCH || !p->pdispVal || !browser_) return true;
        ComPtr<IUnknown> a, b;
        if (FAILED(p->pdispVal->QueryInterface(IID_IUnknown, a.putVoid()))) return true;
        if (FAILED(browser_->QueryInterface(IID_IUnknown, b.putVoid()))) return true;
        return a.get() == b.get();
    }

    WebBrowserEvents* events_;
    IWebBrowser2* browser_ = nullptr;  // not owned: the host owns it and detaches first
    std::atomic<ULONG> refs_{1};
};

#if defined(__GNUC__)
#pragma GCC diagnostic pop
#endif

WebBrowserHost::WebBrowserHost() = default;

WebBrowserHost::~WebBrowserHost() { destroy(); }

bool WebBrowserHost::create(HWND parent, const RECT& area, WebBrowserEvents& events) {
    destroy();
    // In-place activation needs OLE on this thread, not only COM.
    ole_ = OleApartment::enter();
    if (!ole_) return false;
    site_ = ComPtr<Site>(new Site(parent));
    ComPtr<IOleObject> object;
    if (FAILED(CoCreateInstance(CLSID_WebBrowser, nullptr, CLSCTX_INPROC_SERVER, IID_IOleObject, object.putVoid()))) {
        destroy();
        return false;
    }
    site_->attach(object.get());
    object_ = std::move(object);
    if (FAILED(object_->SetClientSite(site_.get()))) {
        destroy();
        return false;
    }
    OleSetContainedObject(object_.get(), TRUE);
    RECT place = area;
    if (FAILED(object_->DoVerb(OLEIVERB_INPLACEACTIVATE, nullptr, site_.get(), 0, parent, &place)) ||
        FAILED(object_->QueryInterface(IID_IWebBrowser2, browser_.putVoid()))) {
        destroy();
        return false;
    }
    browser_->put_Silent(VARIANT_TRUE);

    sink_ = ComPtr<Sink>(new Sink(events));
    sink_->attach(browser_.get());
    ComPtr<IConnectionPointContainer> points;
    if (FAILED(browser_->QueryInterface(IID_IConnectionPointContainer, points.putVoid())) ||
        FAILED(points->FindConnectionPoint(DIID_DWebBrowserEvents2, point_.put())) ||
        FAILED(point_->Advise(sink_.get(), &cookie_))) {
        // Without the events nothing could be checked: no control at all.
        destroy();
        return false;
    }
    resize(area);
    return true;
}

void WebBrowserHost::destroy() {
    if (point_ && cookie_ != 0) point_->Unadvise(cookie_);
    cookie_ = 0;
    point_.reset();
    if (sink_) sink_->detach();
    sink_.reset();
    browser_.reset();
    if (object_) {
        ComPtr<IOleInPlaceObject> inPlace;
        if (SUCCEEDED(object_->QueryInterface(IID_IOleInPlaceObject, inPlace.putVoid()))) inPlace->InPlaceDeactivate();
        object_->Close(OLECLOSE_NOSAVE);
        object_->SetClientSite(nullptr);
        object_.reset();
    }
    if (site_) site_->detach();
    site_.reset();
    ole_.reset();
}

void WebBrowserHost::resize(const RECT& area) {
    if (!object_) return;
    ComPtr<IOleInPlaceObject> inPlace;
    if (SUCCEEDED(object_->QueryInterface(IID_IOleInPlaceObject, inPlace.putVoid()))) {
        inPlace->SetObjectRects(&area, &area);
    }
}

bool WebBrowserHost::navigate(const std::string& address) {
    if (!browser_) return false;
    const std::wstring wide = toWide(address);
    UniqueBstr url(SysAllocStringLen(wide.data(), static_cast<UINT>(wide.size())));
    if (!url) return false;
    VARIANT empty;
    VariantInit(&empty);
    return SUCCEEDED(browser_->Navigate(url.get(), &empty, &empty, &empty, &empty));
}

void WebBrowserHost::goBack() {
    if (browser_) browser_->GoBack();
}
void WebBrowserHost::goForward() {
    if (browser_) browser_->GoForward();
}
void WebBrowserHost::goHome() {
    if (browser_) browser_->GoHome();
}
void WebBrowserHost::refresh() {
    if (browser_) browser_->Refresh();
}
void WebBrowserHost::stop() {
    if (browser_) browser_->Stop();
}
void WebBrowserHost::print() {
    if (browser_) browser_->ExecWB(OLECMDID_PRINT, OLECMDEXECOPT_PROMPTUSER, nullptr, nullptr);
}

std::string WebBrowserHost::locationUrl() const {
    UniqueBstr text;
    if (!browser_ || FAILED(browser_->get_LocationURL(text.put()))) return {};
    return fromBstr(text.get());
}

std::string WebBrowserHost::locationName() const {
    UniqueBstr text;
    if (!browser_ || FAILED(browser_->get_LocationName(text.put()))) return {};
    return fromBstr(text.get());
}

void WebBrowserHost::setRegisterAsBrowser(bool on) {
    if (browser_) browser_->put_RegisterAsBrowser(on ? VARIANT_TRUE : VARIANT_FALSE);
}

IDispatch* WebBrowserHost::application() const {
    IDispatch* out = nullptr;
    if (browser_ && FAILED(browser_->get_Application(&out))) out = nullptr;
    return out;
}

HWND WebBrowserHost::controlWindow() const {
    HWND window = nullptr;
    ComPtr<IOleWindow> ole;
    if (object_ && SUCCEEDED(object_->QueryInterface(IID_IOleWindow, ole.putVoid())) && FAILED(ole->GetWindow(&window))) {
        window = nullptr;
    }
    return window;
}

bool WebBrowserHost::pageHasFocus() const {
    if (!browser_) return false;
    ComPtr<IDispatch> document;
    ComPtr<IHTMLDocument2> html;
    ComPtr<IHTMLElement> active;
    UniqueBstr tag;
    if (FAILED(browser_->get_Document(document.put())) || !document ||
        FAILED(document->QueryInterface(IID_IHTMLDocument2, html.putVoid())) ||
        FAILED(html->get_activeElement(active.put())) || !active || FAILED(active->get_tagName(tag.put()))) {
        return false;
    }
    const std::string name = fromBstr(tag.get());
    return name == "BODY" || name == "IFRAME";
}

bool WebBrowserHost::translateAccelerator(MSG& msg) {
    IOleInPlaceActiveObject* active = site_ ? site_->active() : nullptr;
    return active && active->TranslateAccelerator(&msg) == S_OK;
}

}  // namespace ombrix::win32
