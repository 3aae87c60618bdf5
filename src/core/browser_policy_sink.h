#pragma once
// What the enforcement tells the browsers' own policies: the site list in
// force, whenever one is loaded. The machine's settings write it.

#include <optional>
#include <string>
#include <vector>

namespace ombrix::core {

// The site list in force, as the enforcement loaded it.
struct PolicySites {
    std::vector<std::string> entries;
    bool allowedList = false;
};

// Told the site list whenever one is loaded; nullopt when none is in force.
class BrowserPolicySink {
public:
    virtual ~BrowserPolicySink() = default;
    virtual void siteListInForce(const std::optional<PolicySites>& sites) = 0;
};

}  // namespace ombrix::core
