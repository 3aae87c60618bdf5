#include "enforce/win32/dde_address.h"

#include <windows.h>
#include <ddeml.h>

#include "enforce/address_readers.h"
#include "platform/failures.h"
#include "platform/win32/wide.h"

namespace ombrix::win32 {
namespace {

HDDEDATA CALLBACK ignoreEverything(UINT, UINT, HCONV, HSZ, HSZ, HDDEDATA, ULONG_PTR, ULONG_PTR) { return nullptr; }

// One client conversation's handles, given back in reverse order.
class DdeClient {
public:
    DdeClient() {
        if (DdeInitializeW(&instance_, ignoreEverything, APPCMD_CLIENTONLY, 0) != DMLERR_NO_ERROR) instance_ = 0;
    }
    ~DdeClient() {
        if (conversation_ != nullptr) DdeDisconnect(conversation_);
        for (HSZ s : strings_) {
            if (s != nullptr) DdeFreeStringHandle(instance_, s);
        }
        if (instance_ != 0) DdeUninitialize(instance_);
    }
    DdeClient(const DdeClient&) = delete;
    DdeClient& operator=(const DdeClient&) = delete;

    [[nodiscard]] bool ready() const { return instance_ != 0; }
    HSZ string(const wchar_t* text) {
        HSZ s = DdeCreateStringHandleW(instance_, text, CP_WINUNICODE);
        strings_[used_++] = s;
        return s;
    }
    bool connect(HSZ service, HSZ topic) {
        conversation_ = DdeConnect(instance_, service, topic, nullptr);
        return conversation_ != nullptr;
    }
    // The reply's bytes, as the server's code page gives them; "" on failure.
    std::string request(HSZ item, unsigned timeoutMs) {
        HDDEDATA data = DdeClientTransaction(nullptr, 0, conversation_, item, CF_TEXT, XTYP_REQUEST, timeoutMs, nullptr);
        if (data == nullptr) return {};
        std::string bytes(DdeGetData(data, nullptr, 0, 0), '\0');
        DdeGetData(data, reinterpret_cast<LPBYTE>(bytes.data()), static_cast<DWORD>(bytes.size()), 0);
        DdeFreeDataHandle(data);
        bytes.resize(bytes.find('\0') == std::string::npos ? bytes.size() : bytes.find('\0'));
        return bytes;
    }

private:
    DWORD instance_ = 0;
    HCONV conversation_ = nullptr;
    HSZ strings_[3] = {};
    int used_ = 0;
};

}  // namespace

std::string ddeWindowAddress(std::wstring_view service, unsigned timeoutMs) noexcept {
    try {
        DdeClient client;
        if (!client.ready()) return {};
        const std::wstring name(service);
        HSZ serviceName = client.string(name.c_str());
        HSZ topic = client.string(L"WWW_GetWindowInfo");
        HSZ item = client.string(L"0xffffffff");
        if (serviceName == nullptr || topic == nullptr || item == nullptr || !client.connect(serviceName, topic)) {
            return {};
        }
        // CF_TEXT is in the ANSI code page.
        const std::string reply = client.request(item, timeoutMs);
        std::wstring text(reply.size(), L'\0');
        const int n = MultiByteToWideChar(CP_ACP, 0, reply.data(), static_cast<int>(reply.size()), text.data(),
                                          static_cast<int>(text.size()));
        text.resize(n > 0 ? static_cast<std::size_t>(n) : 0);
        return enforce::firstQuotedField(fromWide(text));
    } catch (...) {
        platform::recordCurrentFailure();
        return {};
    }
}

}  // namespace ombrix::win32
