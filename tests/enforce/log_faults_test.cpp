// The log's file meets a fault of the machine: another process holds it
// locked (an administrator's SQLite shell, a backup), its disk is full, or
// it may not be written. The enforcement goes on, and the visits met
// meanwhile are written when the log takes them again.
#include <gtest/gtest.h>

#include <algorithm>

#include "enforce/enforcement.h"
#include "enforce/log_file.h"
#include "fakes/failing_disk.h"
#include "fakes/fake_enforcement.h"
#include "platform/files.h"
#include "platform/system.h"

namespace ombrix::enforce {
namespace {

using Entries = std::vector<std::string>;

TEST(LogFaults, VisitsMetWhileTheLogFailsAreWrittenLaterAndTheEnforcementGoesOn) {
    enum class Fault { None, Busy, DiskFull, ReadOnly };
    Entries withoutFault;
    for (const Fault fault : {Fault::None, Fault::Busy, Fault::DiskFull, Fault::ReadOnly}) {
        SCOPED_TRACE(static_cast<int>(fault));
        test::FailingDisk disk("LogSiti");
        test::EnforcementRig rig;
        rig.addProfile(2, true, {"giochi.it"});
        rig.use(2);
        rig.host.log = true;
        core::Database other;
        ASSERT_TRUE(openLogFile(platform::realFileSystem(), pathToUtf8(rig.dir.path()), platform::pathSeparator(),
                                rig.db, other)
                        .ok());
        if (fault == Fault::Busy) {
            ASSERT_TRUE(other.exec("BEGIN EXCLUSIVE;"));
        } else if (fault != Fault::None) {
            other.close();
            disk.fault = fault == Fault::DiskFull ? test::FailingDisk::Fault::Full : test::FailingDisk::Fault::ReadOnly;
        }
        Enforcement& e = *rig.enforcement;
        rig.browsers.open(rig.browsers.chrome, "http://a.it/");
        e.tickSiteCheck();
        rig.browsers.chrome.address = "http://www.giochi.it/";
        rig.browsers.chrome.afterClose = {"http://a.it/"};
        e.tickSiteCheck();
        EXPECT_EQ(rig.entries("ctrl+w"), Entries{"ctrl+w chrome.exe"}) << "a forbidden page is closed all the same";
        rig.browsers.chrome.address = "http://b.it/";
        rig.clock.ms += 1000;
        e.tickSiteCheck();

        if (fault == Fault::Busy) {
            ASSERT_TRUE(other.exec("COMMIT;"));
        }
        disk.fault = test::FailingDisk::Fault::None;
        rig.browsers.chrome.address = "http://c.it/";
        rig.clock.ms += VisitedSitesLog::kRetryMilliseconds;
        e.tickSiteCheck();
        if (fault == Fault::None) {
            withoutFault = rig.loggedUrls();
            ASSERT_FALSE(withoutFault.empty());
            EXPECT_EQ(withoutFault.back(), "http://c.it/");
            EXPECT_EQ(std::count(withoutFault.begin(), withoutFault.end(), "http://b.it/"), 1);
        } else {
            EXPECT_EQ(rig.loggedUrls(), withoutFault) << "every visit, in the order met";
        }
    }
}

}  // namespace
}  // namespace ombrix::enforce
