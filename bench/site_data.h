#pragma once
// Site lists and addresses made up for the benchmarks and the comparison
// with other filter engines: names built from syllables and common words,
// so that they crowd together as real ones do. The same seed gives the same
// data on every machine.

#include <cstddef>
#include <string>
#include <vector>

namespace ombrix::bench {

// 90% domains, 9.9% prefixes, 0.1% keywords (at least five).
[[nodiscard]] std::vector<std::string> generateEntries(std::size_t count);
// Domain entries only (".name.tld"), a list a school buys.
[[nodiscard]] std::vector<std::string> generateDomains(std::size_t count);
// Addresses as a reader returns them: a third on listed sites, the rest not.
[[nodiscard]] std::vector<std::string> generateAddresses(const std::vector<std::string>& entries, std::size_t count);

// A new store file at `path` whose profile #1 (the delivered one, a list of
// forbidden sites) holds `entries`; false when it cannot be written.
[[nodiscard]] bool writeSiteStore(const std::string& path, const std::vector<std::string>& entries);

}  // namespace ombrix::bench
