// The exchange file's reader and import on any bytes: no crash, no hang, no
// read out of bounds, and a file the import refuses stores nothing.
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "core/schema.h"
#include "core/database.h"
#include "platform/dialogs.h"
#include "platform/printers.h"
#include "profiles/profile_exchange.h"
#include "support/language.h"

namespace {

using namespace ombrix;

class Silent final : public platform::Dialogs {
public:
    platform::MessageAnswer messageBox(const platform::MessageBoxRequest&) override { return platform::MessageAnswer::Ok; }
    std::optional<std::string> browseForFolder(const std::string&) override { return std::nullopt; }
};

class OnePrinter final : public platform::Printers {
public:
    std::string profileString(std::string_view, std::string_view) override { return {}; }
    bool writeDefaultDevice(std::string_view) override { return false; }
    bool rewriteSettings(std::string_view) override { return false; }
    std::vector<std::string> installed() override { return {"PDF"}; }
};

long long rows(core::Database& db) {
    return db
        .scalar("SELECT (SELECT count(*) FROM Profili) + (SELECT count(*) FROM SitiVietatiConsentiti) + "
                "(SELECT count(*) FROM ProcessiVietati) + (SELECT count(*) FROM NomiFinestreVietate);")
        .toInteger();
}

struct Store {
    core::Database db;
    core::Statement changes;
    Silent dialogs;
    OnePrinter printers;
    Language language{"/nonexistent", '/'};
    Store() {
        if (!db.open(":memory:", core::Database::Mode::CreateIfMissing) || !db.exec(core::deliveredSchemaSql())) std::abort();
        // A name a file may collide with.
        if (!db.exec("INSERT INTO Profili (IDProfilo, Profilo) VALUES (7, 'Aula');")) std::abort();
        changes = db.prepare("SELECT total_changes();");
    }
    // Rows written since the store was opened, rolled back or not: cheap to
    // ask on every run, and unchanged whenever nothing was written at all.
    long long written() {
        changes.reset();
        if (!changes.step()) std::abort();
        return changes.column(0).toInteger();
    }
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static Store store;
    static const long long kRows = rows(store.db);
    const std::string_view bytes(reinterpret_cast<const char*>(data), size);
    const long long before = store.written();
    profiles::ProfileExchange exchange(store.db, store.dialogs, store.language, &store.printers);
    long long id = 0;
    const auto result = exchange.importBytes(bytes, &id);
    if (result != profiles::ProfileExchange::Result::Done) {
        // A refused file stores nothing: as a rule it writes nothing at all.
        if (store.written() != before && rows(store.db) != kRows) std::abort();
        return 0;
    }
    // What was imported goes again, so the store stays small.
    for (const char* table : {"SitiVietatiConsentiti", "ProcessiVietati", "NomiFinestreVietate", "Profili"}) {
        if (!store.db.run(std::string("DELETE FROM ") + table + " WHERE IDProfilo = ?;",
                          {core::Value(static_cast<std::int64_t>(id))})) {
            std::abort();
        }
    }
    if (rows(store.db) != kRows) std::abort();
    return 0;
}
