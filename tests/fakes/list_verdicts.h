#pragma once
// Site verdicts from a plain list, compiled by the enforcement's own rule.
#include <string>
#include <string_view>
#include <vector>

#include "core/site_verdicts.h"
#include "enforce/site_list.h"

namespace ombrix::test {

struct ListVerdicts final : core::SiteVerdicts {
    ListVerdicts(bool allowed, const std::vector<std::string>& entries)
        : allowed_(allowed), entries_(entries), list_(enforce::SiteList::from(entries)) {}
    bool allowedList() const override { return allowed_; }
    bool matches(std::string_view address) const override { return list_.firstMatch(address) != enforce::kNoMatch; }
    std::vector<std::string> entries() const override { return entries_; }
    bool allowed_;
    std::vector<std::string> entries_;
    enforce::SiteList list_;
};

}  // namespace ombrix::test
