// Writes the data of the comparison with other filter engines
// (scripts/versus-npm.sh): a store whose profile #1 forbids COUNT made-up
// domains, the same domains one a line without their leading dot, and
// ADDRESSES addresses, a third of them on the listed sites.
//
//   ombrix_site_data FOLDER COUNT ADDRESSES
//   -> FOLDER/sites.db, FOLDER/domains.txt, FOLDER/addresses.txt
#include <cstdio>
#include <fstream>
#include <string>

#include "site_data.h"

namespace {

bool writeLines(const std::string& path, const std::vector<std::string>& lines, std::size_t skip) {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    for (const auto& line : lines) out.write(line.data() + skip, static_cast<std::streamsize>(line.size() - skip)) << '\n';
    return static_cast<bool>(out.flush());
}

}  // namespace

int main(int argc, char** argv) {
    std::size_t count = 0, addresses = 0;
    if (argc != 4 || std::sscanf(argv[2], "%zu", &count) != 1 || std::sscanf(argv[3], "%zu", &addresses) != 1 ||
        count == 0) {
        std::fprintf(stderr, "usage: ombrix_site_data FOLDER COUNT ADDRESSES\n");
        return 2;
    }
    const std::string folder = argv[1];
    const auto domains = ombrix::bench::generateDomains(count);
    std::remove((folder + "/sites.db").c_str());
    if (!ombrix::bench::writeSiteStore(folder + "/sites.db", domains) ||
        !writeLines(folder + "/domains.txt", domains, 1) ||
        !writeLines(folder + "/addresses.txt", ombrix::bench::generateAddresses(domains, addresses), 0)) {
        std::fprintf(stderr, "ombrix_site_data: cannot write in %s\n", folder.c_str());
        return 1;
    }
    return 0;
}
