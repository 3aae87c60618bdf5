// What the process timer's tick costs with 200 processes running once each
// forbidden name is also looked for among the names the executables keep
// inside: a fresh system list every tick (the view's age limit is the
// timer's period), the inner names from the view's cache. The image-name
// walk alone is the baseline.
#include <benchmark/benchmark.h>

#include <string>
#include <vector>

#include "platform/process_control.h"
#include "platform/process_view.h"

namespace {

using namespace ombrix::platform;

class Machine final : public Processes, public Clock {
public:
    explicit Machine(int count) {
        for (int i = 0; i < count; ++i) {
            running.push_back({static_cast<std::uint32_t>(4 * i + 8), "program" + std::to_string(i) + ".exe",
                               static_cast<std::uint64_t>(1000 + i)});
        }
    }
    std::vector<ProcessEntry> snapshot() override { return running; }
    bool terminate(std::uint32_t) override { return false; }
    std::vector<std::string> originalNames(const ProcessEntry& p) override {
        ++reads;
        return {"PROGRAM" + std::to_string(p.id) + ".EXE", "program" + std::to_string(p.id)};
    }
    LocalTime now() override { return {}; }
    std::uint64_t tickMilliseconds() override { return ms; }

    std::vector<ProcessEntry> running;
    std::uint64_t ms = 0;
    long reads = 0;
};

// A profile's three names and the three unread browsers a site list adds.
const std::vector<std::string> kForbidden = {"gioco.exe",  "chat.exe",   "torrent.exe",
                                             "opera.exe", "safari.exe", "microsoftedge.exe"};

void BM_ProcessTickByImageName(benchmark::State& state) {
    Machine machine(static_cast<int>(state.range(0)));
    SharedProcessView view(machine, machine, 500);
    for (auto _ : state) {
        machine.ms += 500;  // one tick later: the system is asked again
        for (const auto& name : kForbidden) benchmark::DoNotOptimize(KillProcess(view, name));
    }
}
BENCHMARK(BM_ProcessTickByImageName)->Arg(200)->Unit(benchmark::kMicrosecond);

void BM_ProcessTickAlsoByInnerNames(benchmark::State& state) {
    Machine machine(static_cast<int>(state.range(0)));
    SharedProcessView view(machine, machine, 500);
    for (auto _ : state) {
        machine.ms += 500;
        for (const auto& name : kForbidden) benchmark::DoNotOptimize(KillForbiddenProcess(view, name));
    }
    // Once per process, however many ticks ran.
    state.counters["executables_read"] = static_cast<double>(machine.reads);
}
BENCHMARK(BM_ProcessTickAlsoByInnerNames)->Arg(200)->Unit(benchmark::kMicrosecond);

}  // namespace
