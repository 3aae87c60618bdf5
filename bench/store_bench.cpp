// What the store's helpers cost on large lists: the duplicate test of an
// insert, the list loader, and the identifier generator.
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <string>

#include "core/database.h"
#include "core/schema.h"
#include "core/store.h"

namespace {

using namespace ombrix::core;

Database storeWithSites(int count) {
    Database db;
    if (!db.open(":memory:", Database::Mode::CreateIfMissing) || !db.exec(deliveredSchemaSql())) std::abort();
    Transaction tx(db);
    Statement insert = db.prepare("INSERT INTO SitiVietatiConsentiti (IDProfilo, Sito) VALUES (1, ?);");
    for (int i = 0; i < count; ++i) {
        insert.reset();
        insert.bind(1, Value(".sito" + std::to_string(i) + ".example.org"));
        (void)insert.step();
    }
    tx.commit();
    return db;
}

void BM_InsertDuplicateTest(benchmark::State& state) {
    Database db = storeWithSites(static_cast<int>(state.range(0)));
    int i = 0;
    for (auto _ : state) {
        const auto r = insertListEntry(db, ListKind::Sites, 1, ".SITO" + std::to_string(i++ % state.range(0)) + ".example.org");
        benchmark::DoNotOptimize(r);
    }
}
BENCHMARK(BM_InsertDuplicateTest)->Arg(1000)->Arg(100000);

void BM_LoadListRows(benchmark::State& state) {
    Database db = storeWithSites(static_cast<int>(state.range(0)));
    for (auto _ : state) benchmark::DoNotOptimize(loadListRows(db, ListKind::Sites, 1));
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_LoadListRows)->Arg(1000)->Arg(100000)->Unit(benchmark::kMillisecond);

void BM_NextFreeId(benchmark::State& state) {
    Database db;
    // A store that could not be set up would measure nothing.
    if (!db.open(":memory:", Database::Mode::CreateIfMissing) || !db.exec(deliveredSchemaSql()) ||
        !db.exec("DELETE FROM Profili;")) {
        std::abort();
    }
    for (int i = 1; i <= state.range(0); ++i) {
        if (!db.exec("INSERT INTO Profili (IDProfilo) VALUES (" + std::to_string(i) + ");")) std::abort();
    }
    for (auto _ : state) benchmark::DoNotOptimize(nextFreeId(db, "Profili", "IDProfilo", ""));
}
BENCHMARK(BM_NextFreeId)->Arg(10)->Arg(1000);

}  // namespace
