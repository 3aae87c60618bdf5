#include <gtest/gtest.h>

#include "app/ctl_fixture.h"
#include "core/schema.h"
#include "schedule/schedule_texts.h"

namespace ombrix::app {
namespace {

class CtlSlots : public CtlFixture {
protected:
    CtlSlots() : CtlFixture(test::scheduleTexts()) {
        EXPECT_TRUE(core::createDeliveredDatabase(db));
        sql(db, "INSERT INTO Profili (IDProfilo, Profilo) VALUES (2, 'Scuola'), (3, 'Chiosco');");
    }
    int slots(std::vector<std::string> args) {
        args.insert(args.begin(), "slots");
        return run(args);
    }
    std::string record() {
        core::Database d;
        EXPECT_TRUE(d.open(db));
        return d.scalar("SELECT quote(Fascia1Dalle) || quote(Fascia1Alle) || quote(Fascia1Profilo) || "
                        "quote(Fascia2Dalle) || quote(Fascia2Alle) || quote(Fascia2Profilo) || quote(Fascia3Dalle) "
                        "|| quote(Fascia3Alle) || quote(Fascia3Profilo) || quote(ProfiloFasceNonDefinite) || "
                        "quote(FasceOrarie) FROM Fasce, Opzioni;")
            .toText();
    }
};

TEST_F(CtlSlots, SetClearFallbackAndTheSwitch) {
    EXPECT_EQ(slots({"on"}), kRefused);
    EXPECT_EQ(err.str(), "0250: T0250\n") << "no slot 1 yet";
    EXPECT_EQ(slots({"set", "1", "8:00", "12:00", "scuola"}), kOk) << err.str();
    EXPECT_EQ(slots({"set", "2", "12:00", "13:30:15", "Chiosco"}), kOk) << err.str();
    EXPECT_EQ(slots({"fallback", "Nessuna restrizione"}), kOk) << err.str();
    EXPECT_EQ(slots({"on"}), kOk) << err.str();
    EXPECT_EQ(slots({"show"}), kOk);
    EXPECT_EQ(out.str(),
              "FasceOrarie\ton\n1\t08:00\t12:00\tScuola\n2\t12:00\t13:30:15\tChiosco\n3\t-\t-\t-\n"
              "ProfiloFasceNonDefinite\tNessuna restrizione\n");

    // Switched on, no fallback profile is said to block every page outside the slots.
    EXPECT_EQ(slots({"fallback", "-"}), kOk);
    EXPECT_EQ(err.str(), "0356: T0356\n");
    EXPECT_EQ(slots({"fallback", "Nessuna restrizione"}), kOk);
    EXPECT_EQ(err.str(), "");

    const std::string before = record();
    EXPECT_EQ(slots({"clear", "1"}), kRefused) << "slot 2 would stand without slot 1";
    EXPECT_EQ(err.str().substr(0, 6), "0264: ");
    EXPECT_EQ(record(), before);
    EXPECT_EQ(slots({"clear", "2"}), kOk);
    const std::string onlySlotOne = record();
    EXPECT_EQ(slots({"clear", "1"}), kRefused) << "the switch on needs slot 1";
    EXPECT_EQ(err.str(), "0250: T0250\n");
    EXPECT_EQ(record(), onlySlotOne);
    EXPECT_EQ(slots({"off"}), kOk);
    EXPECT_EQ(record(), "'08:00:00''12:00:00'2NULLNULLNULLNULLNULLNULL10");
    EXPECT_EQ(slots({"clear", "1"}), kOk) << err.str();
}

// A profile may bear the name of the editor's empty entry: it is chosen as any other.
TEST_F(CtlSlots, AProfileNamedLikeTheEmptyEntryIsThatProfile) {
    sql(db, std::string("INSERT INTO Profili (IDProfilo, Profilo) VALUES (4, '") + test::kEmpty + "');");
    EXPECT_EQ(slots({"set", "1", "08:00", "12:00", test::kEmpty}), kOk) << err.str();
    EXPECT_EQ(slots({"fallback", test::kEmpty}), kOk) << err.str();
    EXPECT_EQ(record(), "'08:00:00''12:00:00'4NULLNULLNULLNULLNULLNULL40");
    // By identifier too, as every command takes a profile.
    EXPECT_EQ(slots({"set", "2", "13:00", "14:00", "#3"}), kOk) << err.str();
    EXPECT_EQ(slots({"clear", "2"}), kOk) << err.str();
    EXPECT_EQ(slots({"show"}), kOk);
    EXPECT_EQ(out.str(), std::string("FasceOrarie\toff\n1\t08:00\t12:00\t") + test::kEmpty +
                             "\n2\t-\t-\t-\n3\t-\t-\t-\nProfiloFasceNonDefinite\t" + test::kEmpty + "\n");
}

TEST_F(CtlSlots, RefusalsNameTheEditorsMessagesAndStoreNothing) {
    ASSERT_EQ(slots({"set", "1", "08:00", "12:00", "Scuola"}), kOk);
    const std::string before = record();
    const struct {
        std::vector<std::string> args;
        int status;
        const char* stderrStart;
    } cases[] = {
        {{"set", "1", "24:00", "08:00", "Scuola"}, kRefused, "0252: T0252\n0253: T0253\n0254: T0254\n"},
        {{"set", "2", "11:00", "13:00", "-"}, kRefused, "0268: "},
        {{"set", "2", "9:00", "13:00", "-"}, kRefused, "0268: "},
        {{"set", "2", "12:00", "12:30", "Nessuno"}, kRefused, "ombrixctl: no profile is named Nessuno"},
        {{"set", "4", "12:00", "12:30", "-"}, kUsage, "ombrixctl: the slot is 1, 2 or 3"},
        {{"set", "1", "12:00"}, kUsage, "ombrixctl: slots set: wrong arguments"},
        {{"fallback", "Nessuno"}, kRefused, "ombrixctl: no profile is named"},
        {{"sometimes"}, kUsage, "ombrixctl: slots sometimes"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(slots(c.args), c.status) << c.args[0];
        EXPECT_EQ(err.str().rfind(c.stderrStart, 0), 0u) << err.str();
        EXPECT_EQ(record(), before);
    }
}

}  // namespace
}  // namespace ombrix::app
