// SPDX-License-Identifier: Apache-2.0
#include "support/handles.h"
#include "support/hex.h"

#include <gtest/gtest.h>
#include <string>

using kvxtest::Bytes;
using kvxtest::hexDump;

namespace {

struct Mask {
    const char* name;
    size_t entries;
    int32_t (*get)(const KVXHandle*, uint8_t*);
    int32_t (*set)(KVXHandle*, const uint8_t*);
    bool testsHandleOnGet;
};

const Mask kMasks[] = {
    {"track", 17, &KVXGetTrackMask, &KVXSetTrackMask, false},
    {"album", 29, &KVXGetAlbumMask, &KVXSetAlbumMask, true},
    {"DVD", 41, &KVXGetDVDMask, &KVXSetDVDMask, true},
    {"performer", 22, &KVXGetPerformerMask, &KVXSetPerformerMask, true},
};

} // namespace

TEST(Version, OfTheLibraryIsTheSameAsATextAndAsNumbers) {
    EXPECT_EQ(KVX_VERSION, std::to_string(KVX_VERSION_MAJOR) + "." + std::to_string(KVX_VERSION_MINOR) + "." +
                               std::to_string(KVX_VERSION_PATCH));
}

TEST(Version, IsThreeSevenZero) {
    uint16_t major = 9;
    uint16_t minor = 9;
    uint16_t revision = 9;
    EXPECT_EQ(KVXGetVersion(&major, &minor, &revision), 0);
    EXPECT_EQ(major, 3);
    EXPECT_EQ(minor, 7);
    EXPECT_EQ(revision, 0);
    EXPECT_EQ(m_KVXVersionMajor, 3);
    EXPECT_EQ(m_KVXVersionMinor, 7);
    EXPECT_EQ(m_KVXVersionRevision, 0);
}

TEST(Constants, GiveThePacketsSizes) {
    EXPECT_EQ(m_KVXBinHeaderLength, 52);
    EXPECT_EQ(currentTrackMaskSize, 3);
    EXPECT_EQ(currentAlbumMaskSize, 4);
    EXPECT_EQ(currentPerformerMaskSize, 3);
    EXPECT_EQ(currentDVDMaskSize, 6);
}

TEST(Masks, AreAllOnesInAFreshHandleAndOfTheirOwnLength) {
    const auto handle = kvxtest::makeHandle();
    for (const Mask& mask : kMasks) {
        SCOPED_TRACE(mask.name);
        Bytes buffer(mask.entries + 1, 0xaa);
        EXPECT_EQ(mask.get(handle.get(), buffer.data()), 0);
        Bytes expected(mask.entries, 1);
        expected.push_back(0xaa);
        EXPECT_EQ(hexDump(buffer), hexDump(expected));
    }
}

TEST(Masks, AreKeptAsTheyAreSetEachForItself) {
    const auto handle = kvxtest::makeHandle();
    uint8_t next = 0;
    for (const Mask& mask : kMasks) {
        Bytes value(mask.entries);
        for (uint8_t& flag : value) flag = next++;
        EXPECT_EQ(mask.set(handle.get(), value.data()), 0);
    }
    next = 0;
    for (const Mask& mask : kMasks) {
        SCOPED_TRACE(mask.name);
        Bytes expected(mask.entries);
        for (uint8_t& flag : expected) flag = next++;
        Bytes buffer(mask.entries);
        EXPECT_EQ(mask.get(handle.get(), buffer.data()), 0);
        EXPECT_EQ(hexDump(buffer), hexDump(expected));
    }
}

TEST(Masks, RefuseNullArgumentsThatAreTested) {
    const auto handle = kvxtest::makeHandle();
    Bytes buffer(41, 0xaa);
    for (const Mask& mask : kMasks) {
        SCOPED_TRACE(mask.name);
        EXPECT_EQ(mask.get(handle.get(), nullptr), -1);
        EXPECT_EQ(mask.set(handle.get(), nullptr), -1);
        EXPECT_EQ(mask.set(nullptr, buffer.data()), -1);
        if (mask.testsHandleOnGet) {
            EXPECT_EQ(mask.get(nullptr, buffer.data()), -1);
        }
    }
    EXPECT_EQ(hexDump(buffer), hexDump(Bytes(41, 0xaa)));
}

TEST(TrackMask, GetterTestsItsBufferBeforeItEverLooksAtTheHandle) { EXPECT_EQ(KVXGetTrackMask(nullptr, nullptr), -1); }

TEST(TrackMaskDeathTest, GetterDoesNotTestItsHandle) {
    uint8_t buffer[17];
    EXPECT_DEATH(KVXGetTrackMask(nullptr, buffer), "");
}
