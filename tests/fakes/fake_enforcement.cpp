#include "fakes/fake_enforcement.h"

#include <gtest/gtest.h>

#include "core/store.h"
#include "platform/system.h"
#include "platform/files.h"

namespace ombrix::test {

std::string writeEnforcementLanguage(const TempDir& dir) {
    writeFile(dir.file("italian.lng"), "[Strings]\r\n" + numberedTexts());
    return pathToUtf8(dir.path());
}

EnforcementRig::EnforcementRig()
    : language(writeEnforcementLanguage(dir), platform::pathSeparator()),
      db(deliveredStore()),
      log(platform::realFileSystem(), clock, db, [this] { return pathToUtf8(dir.path()); },
          platform::pathSeparator()) {
    keyboard.onCtrlW = [this] { browsers.pressCtrlW(); };
    enforcement = std::make_unique<enforce::Enforcement>(enforce::Enforcement::Machine{
        db, language, processes, windows, keyboard, browsers, browsers, clock, pump, timers, host, log});
}

long long EnforcementRig::addProfile(long long id, bool forbiddenList, const std::vector<std::string>& sites,
                                     const std::vector<std::string>& processNames,
                                     const std::vector<std::string>& titles) {
    EXPECT_TRUE(db.run("INSERT INTO Profili (IDProfilo, Profilo, SitiProibiti) VALUES (?, ?, ?);",
                       {core::Value(static_cast<std::int64_t>(id)), core::Value("Profilo " + std::to_string(id)),
                        core::Value::boolean(forbiddenList)}));
    core::Transaction tx(db);
    const auto insert = [&](const std::string& into, const std::vector<std::string>& values) {
        for (const auto& v : values) {
            EXPECT_TRUE(
                db.run("INSERT INTO " + into + " VALUES (?, ?);", {core::Value(std::int64_t{id}), core::Value(v)}));
        }
    };
    insert("SitiVietatiConsentiti (IDProfilo, Sito)", sites);
    insert("ProcessiVietati (IDProfilo, Processo)", processNames);
    insert("NomiFinestreVietate (IDProfilo, NomeFinestra)", titles);
    EXPECT_TRUE(tx.commit());
    return id;
}

void EnforcementRig::use(long long id, core::ProfileSwitches switches) {
    host.profile = id;
    enforcement->setProfile(id, switches);
    enforcement->loadSites(id);
    enforcement->loadForbiddenProcesses();
    enforcement->loadForbiddenWindows();
}

std::vector<std::string> EnforcementRig::loggedUrls() {
    std::vector<std::string> urls;
    core::Database* file = log.connection();
    EXPECT_NE(file, nullptr) << log.opening().detail();
    if (file == nullptr) return urls;
    core::Statement q = file->prepare("SELECT URL FROM LogSiti ORDER BY rowid;");
    while (q.step()) urls.push_back(q.column(0).toText());
    return urls;
}

std::vector<std::string> EnforcementRig::entries(const std::string& prefix) const {
    std::vector<std::string> out;
    for (const auto& e : journal.entries) {
        if (e.rfind(prefix, 0) == 0) out.push_back(e);
    }
    return out;
}

}  // namespace ombrix::test
