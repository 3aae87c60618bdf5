// One password hashed at the program's work: what a login or a saved
// password costs on this machine. Natively this is OpenSSL; the Windows
// build hashes with CNG, whose time can only be seen on Windows.
#include <benchmark/benchmark.h>

#include <string>

#include "core/password.h"

namespace {

// The argument is the password's length: the longest one a password may
// have should cost no more than a short one, as its key is hashed once.
void BM_PasswordHash(benchmark::State& state) {
    const std::string password(static_cast<std::size_t>(state.range(0)), 'p');
    for (auto _ : state) benchmark::DoNotOptimize(ombrix::core::hashPassword(password));
    state.counters["iterations"] = ombrix::core::passwordWork();
}
BENCHMARK(BM_PasswordHash)->Arg(22)->Arg(ombrix::core::kPasswordMaxBytes)->Unit(benchmark::kMillisecond);

}  // namespace
