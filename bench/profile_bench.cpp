// What a public block list costs through `ombrixctl site add PROFILE -`: every
// line through the editor's site rule and the duplicate test, in one
// transaction on a store file.
#include <benchmark/benchmark.h>

#include <filesystem>
#include <sstream>
#include <string>

#include "app/ctl.h"
#include "core/schema.h"
#include "platform/file_registry.h"
#include "platform/filesystem.h"
#include "platform/system.h"

namespace {

void BM_SiteAddFromStandardInput(benchmark::State& state) {
    const auto count = state.range(0);
    std::string lines;
    lines.reserve(static_cast<std::size_t>(count) * 24);
    for (long i = 0; i < count; ++i) lines += "host" + std::to_string(i) + ".example.org\n";
    const std::string file =
        (std::filesystem::temp_directory_path() / ("ombrix_bench_" + std::to_string(count) + ".db")).string();
    for (auto _ : state) {
        state.PauseTiming();
        std::filesystem::remove(file);
        if (!ombrix::core::createDeliveredDatabase(file)) state.SkipWithError("cannot write the store");
        std::istringstream in(lines);
        std::ostringstream out, err;
        ombrix::platform::FileRegistry registry;
        ombrix::app::CtlEnvironment env{registry, ombrix::platform::realFileSystem(), ombrix::platform::realSystem(),
                                        in, out, err};
        state.ResumeTiming();
        if (ombrix::app::runCtl({"--db", file, "site", "add", "Nessuna restrizione", "-"}, env) != 0) {
            state.SkipWithError(err.str().c_str());
        }
    }
    std::filesystem::remove(file);
    state.SetItemsProcessed(state.iterations() * count);
}
BENCHMARK(BM_SiteAddFromStandardInput)->Arg(1000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_SiteAddFromStandardInput)->Arg(1000000)->Iterations(1)->Unit(benchmark::kMillisecond);

}  // namespace
