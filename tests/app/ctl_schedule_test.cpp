#include <gtest/gtest.h>

#include "app/ctl_fixture.h"
#include "core/schema.h"
#include "schedule/slot_editor.h"
#include "support/language.h"

namespace ombrix::app {
namespace {

// Each message reads "T<id>"; the combos' empty entries "(nessuno)".
std::string scheduleTexts() {
    std::string lng;
    for (int id = 250; id <= 295; ++id) {
        const bool empty = id == 259 || id == 261 || id == 262 || id == 263 || id == 273 || id == 275 || id == 285 ||
                           id >= 291;
        lng += "0" + std::to_string(id) + "=" + (empty ? "(nessuno)" : "T0" + std::to_string(id)) + "\r\n";
    }
    return lng;
}

class CtlSlots : public CtlFixture {
protected:
    CtlSlots() : CtlFixture(scheduleTexts()) {
        EXPECT_TRUE(core::createDeliveredDatabase(db));
        EXPECT_EQ(ctlOn({"--db", db, "profiles"}), kOk);
        core::Database d;
        EXPECT_TRUE(d.open(db));
        EXPECT_TRUE(d.exec("INSERT INTO Profili (IDProfilo, Profilo) VALUES (2, 'Scuola'), (3, 'Chiosco');"));
    }
    int ctlOn(std::vector<std::string> args) { return ctl(args); }
    int slots(std::vector<std::string> args) {
        args.insert(args.begin(), {"--db", db, "slots"});
        return ctl(args);
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

    std::string db = dir.file("slots.db");
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

    const std::string before = record();
    EXPECT_EQ(slots({"clear", "1"}), kRefused) << "slot 2 would stand without slot 1";
    EXPECT_EQ(err.str().substr(0, 6), "0264: ");
    EXPECT_EQ(record(), before);
    EXPECT_EQ(slots({"clear", "2"}), kOk);
    EXPECT_EQ(slots({"off"}), kOk);
    EXPECT_EQ(record(), "'08:00:00''12:00:00'2NULLNULLNULLNULLNULLNULL10");
}

TEST_F(CtlSlots, RefusalsNameTheEditorsMessagesAndStoreNothing) {
    ASSERT_EQ(slots({"set", "1", "08:00", "12:00", "Scuola"}), kOk);
    const std::string before = record();
    const struct {
        std::vector<std::string> args;
        int status;
        const char* stderrStart;
    } cases[] = {
        {{"set", "1", "12:00", "08:00", "Scuola"}, kRefused, "0258: T0258\n"},
        {{"set", "1", "24:00", "08:00", "Scuola"}, kRefused, "0252: T0252\n0253: T0253\n0254: T0254\n"},
        {{"set", "2", "11:00", "13:00", "-"}, kRefused, "0268: "},
        {{"set", "3", "13:00", "14:00", "-"}, kRefused, "0276: "},
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

TEST_F(CtlSlots, TheFormAndTheCommandLineStoreTheSameRecord) {
    ASSERT_EQ(slots({"set", "1", "7:30", "12:00:30", "Scuola"}), kOk) << err.str();
    ASSERT_EQ(slots({"fallback", "Chiosco"}), kOk);
    const std::string byCommand = record();

    // The form, in a locale that writes times with a point.
    ASSERT_EQ(slots({"clear", "1"}), kOk);
    Language language(system.folder, platform::pathSeparator());
    core::Database d;
    ASSERT_TRUE(d.open(db));
    schedule::SlotBoxes boxes;
    boxes.dalle[0] = "7.30";
    boxes.alle[0] = "12.00.30";
    boxes.profilo = {"Scuola", "(nessuno)", "(nessuno)"};
    boxes.fallback = "Chiosco";
    ASSERT_FALSE(schedule::ValidaFasce(boxes, '.', language));
    ASSERT_TRUE(schedule::SalvaFasce(d, boxes, '.', language));
    EXPECT_EQ(record(), byCommand);
}

}  // namespace
}  // namespace ombrix::app
