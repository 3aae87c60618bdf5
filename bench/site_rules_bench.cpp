// Site rules at list sizes that schools import: 1 000, 100 000 and
// 1 000 000 entries, mostly domains, some prefixes, few keywords.
//
// - Verdict/Compiled and Verdict/Reference: one address judged (the first
//   matching entry) by the compiled list and by the literal walk. The
//   compiled run also times each verdict alone and reports the median and
//   the 99th percentile in nanoseconds.
// - Load: the profile's rows read from a store file and compiled, with the
//   memory the list holds beyond the entries' own text, per entry.
// - SiteTick: one tick of the site timer with Chrome, Edge and Firefox
//   showing pages that pass, on a profile loaded by the enforcement itself.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "core/database.h"
#include "enforce/enforcement.h"
#include "enforce/profile_lists.h"
#include "enforce/site_list.h"
#include "enforce/site_rules.h"
#include "platform/filesystem.h"
#include "platform/system.h"
#include "support/language.h"
#include "site_data.h"

namespace {

using namespace ombrix;
using bench::generateAddresses;
using bench::generateEntries;

// The list sizes measured. An unoptimised build only proves that the
// benchmarks run (the test suite's smoke run), so it keeps the lists small.
#ifdef NDEBUG
constexpr std::int64_t kSmall = 1000, kMedium = 100000, kLarge = 1000000;
#else
constexpr std::int64_t kSmall = 100, kMedium = 1000, kLarge = 10000;
#endif

struct Fixture {
    std::vector<std::string> entries;
    enforce::SiteList list;
    std::vector<std::string> addresses;
};

Fixture& fixture(std::size_t count) {
    static std::map<std::size_t, std::unique_ptr<Fixture>> cache;
    auto& f = cache[count];
    if (!f) {
        f = std::make_unique<Fixture>();
        f->entries = generateEntries(count);
        f->list = enforce::SiteList::from(f->entries);
        f->addresses = generateAddresses(f->entries, 4096);
    }
    return *f;
}

void BM_VerdictCompiled(benchmark::State& state) {
    Fixture& f = fixture(static_cast<std::size_t>(state.range(0)));
    std::size_t i = 0, hits = 0;
    for (auto _ : state) {
        const std::size_t m = f.list.firstMatch(f.addresses[i++ % f.addresses.size()]);
        hits += m != enforce::kNoMatch ? 1 : 0;
        benchmark::DoNotOptimize(m);
    }
    // Each verdict alone, for the median and the tail.
    std::vector<double> ns;
    ns.reserve(f.addresses.size() * 4);
    for (int round = 0; round < 4; ++round) {
        for (const auto& a : f.addresses) {
            const auto t0 = std::chrono::steady_clock::now();
            benchmark::DoNotOptimize(f.list.firstMatch(a));
            ns.push_back(std::chrono::duration<double, std::nano>(std::chrono::steady_clock::now() - t0).count());
        }
    }
    std::sort(ns.begin(), ns.end());
    state.counters["median_ns"] = ns[ns.size() / 2];
    state.counters["p99_ns"] = ns[ns.size() * 99 / 100];
    state.counters["hit_share"] = static_cast<double>(hits) / static_cast<double>(std::max<std::size_t>(i, 1));
}
BENCHMARK(BM_VerdictCompiled)->Arg(kSmall)->Arg(kMedium)->Arg(kLarge)->Unit(benchmark::kNanosecond);

void BM_VerdictReference(benchmark::State& state) {
    Fixture& f = fixture(static_cast<std::size_t>(state.range(0)));
    std::size_t i = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(enforce::referenceFirstMatch(f.list, f.addresses[i++ % f.addresses.size()]));
    }
}
BENCHMARK(BM_VerdictReference)->Arg(kSmall)->Arg(kMedium)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_VerdictReference)->Arg(kLarge)->Iterations(3)->Unit(benchmark::kMillisecond);

// A store file holding one profile with `count` site rows.
class StoreFile {
public:
    explicit StoreFile(std::size_t count) {
        path_ = (std::filesystem::temp_directory_path() /
                 ("ombrix-bench-sites-" + std::to_string(count) + "-" + std::to_string(std::random_device{}()) + ".db"))
                    .string();
        if (!bench::writeSiteStore(path_, fixture(count).entries) || !db.open(path_)) std::abort();
    }
    ~StoreFile() {
        db.close();
        std::error_code ec;
        std::filesystem::remove(path_, ec);
    }
    StoreFile(const StoreFile&) = delete;
    StoreFile& operator=(const StoreFile&) = delete;
    core::Database db;

private:
    std::string path_;
};

void BM_Load(benchmark::State& state) {
    const auto count = static_cast<std::size_t>(state.range(0));
    StoreFile store(count);
    std::size_t overhead = 0, text = 0;
    for (auto _ : state) {
        enforce::SiteList list = enforce::loadSiteList(store.db, 1).value;
        if (list.size() != count) state.SkipWithError("wrong number of entries");
        overhead = list.overheadBytes();
        text = list.entryTextBytes();
        benchmark::DoNotOptimize(list);
    }
    state.counters["overhead_bytes_per_entry"] = static_cast<double>(overhead) / static_cast<double>(count);
    state.counters["text_bytes_per_entry"] = static_cast<double>(text) / static_cast<double>(count);
}
BENCHMARK(BM_Load)
    ->Arg(kSmall)
    ->Arg(kMedium)
    ->Arg(kLarge)
    ->Unit(benchmark::kMillisecond)
    ->MeasureProcessCPUTime()
    ->UseRealTime();

// A quiet machine: three browsers showing the same pages, nothing else.
class QuietMachine final : public platform::Processes,
                           public platform::WindowSystem,
                           public platform::KeyboardInput,
                           public platform::BrowserAddresses,
                           public platform::ShellBrowserWindows,
                           public platform::Clock,
                           public platform::EventPump,
                           public core::Timers,
                           public enforce::EnforcementHost {
public:
    std::vector<std::string> pages;
    std::size_t next = 0;

    std::vector<platform::ProcessEntry> snapshot() override {
        return {{1, "chrome.exe"}, {2, "msedge.exe"}, {3, "firefox.exe"}, {4, "explorer.exe"}};
    }
    bool terminate(std::uint32_t) override { return false; }
    std::vector<platform::WindowId> findByTitles(const std::vector<std::string>& titles) override {
        return std::vector<platform::WindowId>(titles.size(), 0);
    }
    platform::WindowId findByClass(std::string_view, platform::WindowId) override { return 0; }
    std::vector<platform::WindowId> topLevelWindows() override { return {}; }
    std::string title(platform::WindowId) override { return {}; }
    void show(platform::WindowId, platform::ShowCommand) override {}
    void postClose(platform::WindowId) override {}
    void setTopmost(platform::WindowId, bool) override {}
    void keyEvent(std::uint8_t, std::uint32_t) override {}
    std::string readChromeAddress() override { return page(); }
    std::string readEdgeAddress() override { return page(); }
    std::string readFirefoxAddress() override { return page(); }
    std::string shellWindowAddresses() override { return {}; }
    std::vector<platform::ShellBrowserWindow> windows() override { return {}; }
    void goBack(std::size_t) override {}
    platform::LocalTime now() override { return {}; }
    std::uint64_t tickMilliseconds() override { return 0; }
    void doEvents() override {}
    void setEnabled(core::TimerId id, bool on) override { on_[static_cast<std::size_t>(id)] = on; }
    bool isEnabled(core::TimerId id) const override { return on_[static_cast<std::size_t>(id)]; }
    void showMessage(const std::string&, int) override {}
    void openPage(const std::string&) override {}
    void launchStartPage() override {}
    void clearFirefoxSession() override {}
    bool timeSlotScheduleInForce() override { return false; }
    long long profileInUse() override { return 1; }
    bool logSwitch() override { return false; }
    void keepNoticeWindowsOnTop() override {}
    void storeUnreadable(const std::string&) override {}

private:
    // Each browser shows the page for a few reads, then the next one.
    std::string page() { return pages[(next++ / 6) % pages.size()]; }
    std::array<bool, static_cast<std::size_t>(core::TimerId::Count)> on_{};
};

void BM_SiteTick(benchmark::State& state) {
    const auto count = static_cast<std::size_t>(state.range(0));
    StoreFile store(count);
    QuietMachine machine;
    for (const auto& a : fixture(count).addresses) {
        if (fixture(count).list.firstMatch(a) == enforce::kNoMatch) machine.pages.push_back(a);
    }
    Language language(std::filesystem::temp_directory_path().string(), platform::pathSeparator());
    // Never written: the host keeps the log off.
    enforce::VisitedSitesLog log(platform::realFileSystem(), machine, store.db,
                                 [] { return std::filesystem::temp_directory_path().string(); },
                                 platform::pathSeparator());
    enforce::Enforcement enforcement({store.db, language, machine, machine, machine, machine, machine, machine,
                                      machine, machine, machine, log});
    enforcement.setProfile(1, {});
    enforcement.loadSites(1);
    if (!machine.isEnabled(core::TimerId::SiteCheck)) state.SkipWithError("the site timer is off");
    for (auto _ : state) enforcement.tickSiteCheck();
}
BENCHMARK(BM_SiteTick)->Arg(kLarge)->Unit(benchmark::kMicrosecond);

}  // namespace
