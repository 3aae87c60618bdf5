// A message lookup reads the language file afresh every time; this shows
// what that costs with the delivered file.
#include <benchmark/benchmark.h>

#include "platform/system.h"
#include "support/language.h"
#include "support/messages.h"

namespace {

void BM_MessageText(benchmark::State& state) {
    ombrix::Language lang(ombrix::platform::realSystem().programFolder(), ombrix::platform::pathSeparator());
    for (auto _ : state) benchmark::DoNotOptimize(lang.messageText(ombrix::msg::SiteNotAllowed));
}
BENCHMARK(BM_MessageText);

}  // namespace
