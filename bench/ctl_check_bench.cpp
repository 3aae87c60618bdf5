// The whole `ombrixctl check PROFILE -` over a file of addresses, as an
// administrator runs it on a day's proxy log: the store opened, the list
// loaded and compiled, each line read, judged and its verdict written out in
// blocks. A 100 000-domain list and 1 000 000 addresses in a release build.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <random>
#include <sstream>
#include <string>

#include "app/ctl.h"
#include "app/ctl_streams.h"
#include "platform/file_registry.h"
#include "platform/filesystem.h"
#include "platform/system.h"
#include "site_data.h"

namespace {

using namespace ombrix;

#ifdef NDEBUG
constexpr std::int64_t kDomains = 100000, kAddresses = 1000000;
#else
constexpr std::int64_t kDomains = 1000, kAddresses = 10000;
#endif

// A file as standard input: always more waiting until its end.
class FileInput final : public platform::StandardInput {
public:
    explicit FileInput(const std::string& path) : file_(std::fopen(path.c_str(), "rb")) {}
    ~FileInput() override {
        if (file_) std::fclose(file_);
    }
    FileInput(const FileInput&) = delete;
    FileInput& operator=(const FileInput&) = delete;
    std::size_t read(char* buffer, std::size_t size) override { return file_ ? std::fread(buffer, 1, size, file_) : 0; }
    bool waiting() override { return true; }

private:
    std::FILE* file_;
};

void BM_CheckCommand(benchmark::State& state) {
    const auto folder = std::filesystem::temp_directory_path() /
                        ("ombrix-bench-check-" + std::to_string(std::random_device{}()));
    std::filesystem::create_directories(folder);
    const std::string store = (folder / "sites.db").string(), addresses = (folder / "addresses.txt").string();
    const auto domains = bench::generateDomains(static_cast<std::size_t>(state.range(0)));
    {
        std::ofstream list(addresses, std::ios::binary);
        for (const auto& a : bench::generateAddresses(domains, static_cast<std::size_t>(state.range(1)))) list << a << '\n';
    }
    if (!bench::writeSiteStore(store, domains)) state.SkipWithError("the store cannot be written");
    platform::FileRegistry registry;
    std::size_t outputBytes = 0;
    for (auto _ : state) {
        FileInput input(addresses);
        std::ofstream verdicts(folder / "verdicts.txt", std::ios::binary | std::ios::trunc);
        std::ostringstream err;
        app::StandardStreams streams(input, verdicts);
        app::CtlEnvironment env{registry, platform::realFileSystem(), platform::realSystem(), streams.in(), verdicts, err};
        if (app::runCtl({"--db", store, "check", "#1", "-"}, env) != app::kOk) state.SkipWithError(err.str().c_str());
        outputBytes = static_cast<std::size_t>(verdicts.tellp());
    }
    state.counters["addresses_per_s"] =
        benchmark::Counter(static_cast<double>(state.range(1)), benchmark::Counter::kIsIterationInvariantRate);
    state.counters["output_bytes"] = static_cast<double>(outputBytes);
    std::error_code ec;
    std::filesystem::remove_all(folder, ec);
}
BENCHMARK(BM_CheckCommand)->Args({kDomains, kAddresses})->Unit(benchmark::kMillisecond)->Iterations(3);

}  // namespace
