// A managed profile of a million sites replacing the last one: the import's
// time, and the longest a reader of the store (the program reloading a list)
// waited meanwhile on another connection. The old lists stay in force until
// the commit; the wait says how long the store kept the program's reads out.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>

#include "core/database.h"
#include "core/schema.h"
#include "profiles/managed_profiles.h"

namespace {

using namespace ombrix;

std::string managedFile(long count, const std::string& firstSite) {
    std::string text = "<NOME>\r\nAula\r\n</NOME>\r\n<MODO>\r\nSTART\r\n</MODO>\r\n<DOWNLOAD>\r\nSI\r\n</DOWNLOAD>\r\n"
                       "<MESSAGGI>\r\nSI\r\n</MESSAGGI>\r\n<BROWSERINTERNO>\r\nNO\r\n</BROWSERINTERNO>\r\n"
                       "<LISTASITI>\r\nPROIBITI\r\n</LISTASITI>\r\n<HOMEPAGE>\r\n\r\n</HOMEPAGE>\r\n<SITI>\r\n";
    text.reserve(static_cast<std::size_t>(count) * 26);
    text += firstSite + "\r\n";
    for (long i = 1; i < count; ++i) text += "host" + std::to_string(i) + ".example.org\r\n";
    return text + "</SITI>\r\n<PROCESSI>\r\n</PROCESSI>\r\n<FINESTRE>\r\n</FINESTRE>\r\n";
}

void BM_ManagedImport(benchmark::State& state) {
    const long count = state.range(0);
    const auto temp = std::filesystem::temp_directory_path();
    const std::string store = (temp / "ombrix_bench_managed.db").string();
    const std::string file = (temp / "ombrix_bench_managed.ox").string();
    double longestWaitMs = 0;
    for (auto _ : state) {
        state.PauseTiming();
        std::filesystem::remove(store);
        if (!core::createDeliveredDatabase(store)) state.SkipWithError("cannot write the store");
        core::Database db, reader;
        if (!db.open(store) || !reader.open(store)) state.SkipWithError("cannot open the store");
        (void)db.exec("PRAGMA cache_size = -262144;");
        reader.setBusyTimeout(60000);
        profiles::ManagedProfiles managed(db);
        std::ofstream(file, std::ios::binary) << managedFile(count, "first.example.org");
        if (managed.check({file, ""}).outcome != profiles::ManagedCheck::Outcome::Imported) {
            state.SkipWithError("the first set was not imported");
        }
        std::ofstream(file, std::ios::binary) << managedFile(count, "second.example.org");
        std::atomic<bool> done = false;
        std::thread reads([&] {
            while (!done) {
                const auto at = std::chrono::steady_clock::now();
                (void)reader.scalar("SELECT Profilo FROM Profili WHERE IDProfilo = 2;");
                const std::chrono::duration<double, std::milli> took = std::chrono::steady_clock::now() - at;
                longestWaitMs = std::max(longestWaitMs, took.count());
                std::this_thread::sleep_for(std::chrono::milliseconds(5));
            }
        });
        state.ResumeTiming();
        const profiles::ManagedCheck r = managed.check({file, ""});
        state.PauseTiming();
        done = true;
        reads.join();
        if (r.outcome != profiles::ManagedCheck::Outcome::Imported) state.SkipWithError(r.reason.c_str());
        state.ResumeTiming();
    }
    std::filesystem::remove(store);
    std::filesystem::remove(file);
    state.counters["longest_read_wait_ms"] = longestWaitMs;
    state.SetItemsProcessed(state.iterations() * count);
}
BENCHMARK(BM_ManagedImport)->Arg(1000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ManagedImport)->Arg(1000000)->Iterations(1)->Unit(benchmark::kMillisecond);

}  // namespace
