// SPDX-License-Identifier: Apache-2.0
#include "catalogue/remedies.h"

#include <cerrno>
#include <cstring>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace tarn::server;
using ::testing::AllOf;
using ::testing::HasSubstr;

namespace {

const struct {
    int error;
    const char* remedy; // a part of it
} kCases[] = {
    {EACCES, "run this as the user that owns the catalogue"},
    {EPERM, "run this as the user that owns the catalogue"},
    {EROFS, "the file system is read-only"},
    {EMFILE, "raise the limit of open files (ulimit -n, LimitNOFILE=)"},
    {ENFILE, "raise the limit of open files (ulimit -n, LimitNOFILE=)"},
    {ENOSPC, "make room and run this again"},
    {EDQUOT, "make room and run this again"},
    {EFBIG, "raise the limit of file sizes (ulimit -f)"},
    {EIO, "look after the disk; run tarn-server check"},
};

} // namespace

TEST(Remedy, FitsTheError) {
    for (const auto& c : kCases) EXPECT_THAT(remedyFor(c.error), HasSubstr(c.remedy)) << std::strerror(c.error);
    for (const int error : {ENOTDIR, EEXIST}) EXPECT_THAT(remedyFor(error), HasSubstr("name a folder"));
}

// Libraries pass on the text of an error, not its number.
TEST(Remedy, IsFoundByTheTextOfTheErrorToo) {
    for (const auto& c : kCases) EXPECT_THAT(remedyFor(std::string(std::strerror(c.error))), HasSubstr(c.remedy));
    EXPECT_EQ(remedyFor(std::string("MDB_CORRUPTED: Located page was wrong type")), "");
}

TEST(Remedy, OfDamageOnTheDiskIsToCheckAndThenToRestore) {
    for (const int error : {EIO, EFBIG}) {
        EXPECT_THAT(remedyFor(error), AllOf(HasSubstr("tarn-server check"), HasSubstr(kRestore)));
    }
}

TEST(Failure, NamesThePathTheReasonAndTheRemedy) {
    EXPECT_EQ(failure("/c/catalogue.mdb", ENOSPC),
              "/c/catalogue.mdb: No space left on device; make room and run this again");
}

TEST(DamagedRecordingText, SaysWhichItIsAndHowToMendIt) {
    EXPECT_THAT(damagedRecording(7), AllOf(HasSubstr("recording 7 is damaged"), HasSubstr("tarn-server remove 7"),
                                           HasSubstr("compact --purge")));
}
