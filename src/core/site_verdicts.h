#pragma once
// What the internal browser asks of the profile in use: the list's mode and
// whether an address matches an entry. The enforcement answers from the list
// it keeps, so the rule lives in one place.

#include <string>
#include <string_view>
#include <vector>

namespace ombrix::core {

class SiteVerdicts {
public:
    virtual ~SiteVerdicts() = default;
    // True when the profile's list says what is allowed, false when it says
    // what is forbidden.
    [[nodiscard]] virtual bool allowedList() const = 0;
    // Whether some entry of the list matches the address.
    [[nodiscard]] virtual bool matches(std::string_view address) const = 0;
    // The entries as stored, in order.
    [[nodiscard]] virtual std::vector<std::string> entries() const = 0;
};

}  // namespace ombrix::core
