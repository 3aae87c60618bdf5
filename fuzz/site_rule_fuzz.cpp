// The site list compiled from any entries, checked against the literal rule
// for any address: the index must give the answer of the walk, every time.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "enforce/site_list.h"
#include "enforce/site_rules.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    // Lines: the first is the address, the second a window title, the rest entries.
    const std::string_view all(reinterpret_cast<const char*>(data), size);
    std::vector<std::string> lines;
    for (std::size_t pos = 0; pos <= all.size();) {
        const std::size_t end = all.find('\n', pos);
        lines.emplace_back(all.substr(pos, end == std::string_view::npos ? std::string_view::npos : end - pos));
        if (end == std::string_view::npos) break;
        pos = end + 1;
    }
    const std::string address = lines[0];
    const std::string title = lines.size() > 1 ? lines[1] : std::string();
    const std::vector<std::string> entries(lines.begin() + std::min<std::ptrdiff_t>(2, static_cast<std::ptrdiff_t>(lines.size())),
                                           lines.end());
    const ombrix::enforce::SiteList list = ombrix::enforce::SiteList::from(entries);
    if (list.size() != entries.size()) std::abort();
    using namespace ombrix::enforce;
    for (const std::size_t from : {std::size_t{0}, std::size_t{1}, entries.size() / 2}) {
        if (list.firstMatch(address, from) != referenceFirstMatch(list, address, from)) std::abort();
        if (list.firstMatchIE(address, title, from) != referenceFirstMatchIE(list, address, title, from)) std::abort();
        if (list.firstKeywordMatch(title, from) != referenceFirstKeywordMatch(list, title, from)) std::abort();
    }
    return 0;
}
