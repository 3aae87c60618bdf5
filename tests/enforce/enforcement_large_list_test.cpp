// A profile of a million entries, as an imported public block list: it loads,
// and the blockers and the log judge with it exactly as with a short list.
// How long that takes is measured by the benchmarks, not here.
#include <gtest/gtest.h>

#include "core/database.h"
#include "enforce/enforcement.h"
#include "fakes/fake_enforcement.h"

namespace ombrix::enforce {
namespace {

constexpr int kEntries = 1000000;

// Entry i: mostly domains, every tenth a prefix, every thousandth a keyword.
std::string entryNumber(int i) {
    if (i % 1000 == 999) return "*parola" + std::to_string(i);
    if (i % 10 == 7) return "www.pagina" + std::to_string(i) + ".it/percorso";
    return ".dominio" + std::to_string(i) + ".example";
}

TEST(LargeList, AMillionEntriesLoadAndEnforce) {
    test::EnforcementRig rig;
    rig.addProfile(2, true, {});
    // The rows are made by the store itself, and without the editor's
    // duplicate index, which the loader does not use: maintaining it row by
    // row under the sanitizers would take most of this test's time.
    ASSERT_TRUE(rig.db.exec(
        "DROP INDEX SitiVietatiConsentitiProfilo;"
        "WITH RECURSIVE n(i) AS (SELECT 0 UNION ALL SELECT i + 1 FROM n WHERE i < 999999) "
        "INSERT INTO SitiVietatiConsentiti (IDProfilo, Sito) SELECT 2, CASE "
        "WHEN i % 1000 = 999 THEN '*parola' || i WHEN i % 10 = 7 THEN 'www.pagina' || i || '.it/percorso' "
        "ELSE '.dominio' || i || '.example' END FROM n;"));
    rig.use(2);
    const SiteList& list = rig.enforcement->ElencoSiti();
    ASSERT_EQ(list.size(), static_cast<std::size_t>(kEntries));
    EXPECT_EQ(list.entry(kEntries - 1), entryNumber(kEntries - 1));
    EXPECT_LT(list.overheadBytes(), static_cast<std::size_t>(kEntries) * 64);

    struct Case {
        const char* address;
        std::size_t entry;
    };
    const Case cases[] = {
        {"https://www.dominio999998.example/", 999998},
        {"https://news.dominio0.example/x", 0},
        {"http://pagina999997.it/percorso/a", 999997},
        {"http://x.org/?q=PAROLA999999", 999},  // "parola999" is in it too, and comes first
        {"http://dominio1000000.example/", kNoMatch},
        {"http://pagina999997.it/", kNoMatch},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(list.firstMatch(c.address), c.entry) << c.address;
        // The literal walk agrees where it is short enough to run here.
        const std::size_t from = kEntries - 5;
        EXPECT_EQ(list.firstMatch(c.address, from), referenceFirstMatch(list, c.address, from)) << c.address;
    }

    rig.host.log = true;
    rig.browsers.open(rig.browsers.chrome, "https://www.dominio999998.example/");
    rig.browsers.chrome.afterClose = {"https://scuola.it/"};
    rig.enforcement->tickSitiVietatiConsentiti();
    ASSERT_EQ(rig.host.notices.size(), 1u);
    EXPECT_EQ(rig.host.notices[0].text, "T0182 https://www.dominio999998.example/");
    rig.enforcement->tickSitiVietatiConsentiti();
    EXPECT_EQ(rig.loggedUrls(), std::vector<std::string>{"https://scuola.it/"});
}

}  // namespace
}  // namespace ombrix::enforce
