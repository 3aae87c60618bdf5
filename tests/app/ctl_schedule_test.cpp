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
        sql(db, "INSERT INTO Profili (IDProfilo, Profilo) VALUES (2, 'Scuola'), (3, 'Chiosco'), (4, '" +
                    std::string(test::kEmpty) + "');");
    }
    int slots(std::vector<std::string> args) {
        args.insert(args.begin(), "slots");
        return run(args);
    }
};

// A profile may bear the name of the editor's empty entry: it is chosen as any other.
TEST_F(CtlSlots, SetClearFallbackAndTheSwitch) {
    refused({"slots", "on"}, "0250: T0250\n");  // no slot 1 yet
    EXPECT_EQ(slots({"set", "1", "8:00", "12:00", "scuola"}), kOk) << err.str();
    EXPECT_EQ(slots({"set", "2", "12:00", "13:00:15", test::kEmpty}), kOk) << err.str();
    EXPECT_EQ(slots({"set", "3", "13:30", "14:00", "#3"}), kOk) << err.str();
    EXPECT_EQ(slots({"fallback", "Nessuna restrizione"}), kOk) << err.str();
    EXPECT_EQ(slots({"on"}), kOk) << err.str();
    EXPECT_EQ(slots({"show"}), kOk);
    EXPECT_EQ(out.str(), std::string("FasceOrarie\ton\n1\t08:00\t12:00\tScuola\n2\t12:00\t13:00:15\t") + test::kEmpty +
                             "\n3\t13:30\t14:00\tChiosco\nProfiloFasceNonDefinite\tNessuna restrizione\n");
    // Switched on, no fallback profile is said to block every page outside the slots.
    EXPECT_EQ(slots({"fallback", "-"}), kOk);
    EXPECT_EQ(err.str(), "0356: T0356\n");
    refused({"slots", "clear", "2"}, "0276: ");  // slot 3 would stand without slot 2
    EXPECT_EQ(slots({"clear", "3"}), kOk) << err.str();
    EXPECT_EQ(slots({"clear", "2"}), kOk) << err.str();
    refused({"slots", "clear", "1"}, "0250: T0250\n");  // the switch on needs slot 1
    EXPECT_EQ(slots({"off"}), kOk);
    EXPECT_EQ(slots({"show"}), kOk);
    EXPECT_EQ(out.str(), "FasceOrarie\toff\n1\t08:00\t12:00\tScuola\n2\t-\t-\t-\n3\t-\t-\t-\nProfiloFasceNonDefinite\t-\n");
    EXPECT_EQ(slots({"clear", "1"}), kOk) << err.str();
}

TEST_F(CtlSlots, RefusalsNameTheEditorsMessagesAndStoreNothing) {
    ASSERT_EQ(slots({"set", "1", "08:00", "12:00", "Scuola"}), kOk);
    const struct {
        std::vector<std::string> args;
        const char* said;
        int status = kRefused;
    } cases[] = {
        {{"slots", "set", "1", "24:00", "08:00", "Scuola"}, "0252: T0252\n0253: T0253\n0254: T0254\n"},
        {{"slots", "set", "2", "11:00", "13:00", "-"}, "0268: "},
        {{"slots", "set", "2", "12:00", "12:30", "Nessuno"}, "ombrixctl: no profile is named Nessuno"},
        {{"slots", "set", "4", "12:00", "12:30", "-"}, "ombrixctl: the slot is 1, 2 or 3", kUsage},
        {{"slots", "clear", "0"}, "ombrixctl: the slot is 1, 2 or 3", kUsage},
        {{"slots", "set", "1", "12:00"}, "ombrixctl: slots set: wrong arguments", kUsage},
        {{"slots", "show", "1"}, "ombrixctl: slots show: wrong arguments", kUsage},
        {{"slots", "on", "1"}, "ombrixctl: slots on: wrong arguments", kUsage},
        {{"slots", "fallback"}, "ombrixctl: slots fallback: wrong arguments", kUsage},
        {{"slots", "fallback", "Nessuno"}, "ombrixctl: no profile is named"},
        {{"slots", "sometimes"}, "ombrixctl: slots sometimes", kUsage},
    };
    for (const auto& c : cases) refused(c.args, c.said, {}, c.status);
}

}  // namespace
}  // namespace ombrix::app
