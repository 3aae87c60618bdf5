// One password hashed at the program's work: what a login or a saved
// password costs on this machine. Natively this is OpenSSL; the Windows
// build hashes with CNG, whose time can only be seen on Windows.
#include <benchmark/benchmark.h>

#include "core/password.h"

namespace {

void BM_PasswordHash(benchmark::State& state) {
    for (auto _ : state) benchmark::DoNotOptimize(ombrix::core::hashPassword("Una password qualsiasi"));
    state.counters["iterations"] = ombrix::core::passwordWork();
}
BENCHMARK(BM_PasswordHash)->Unit(benchmark::kMillisecond);

}  // namespace
