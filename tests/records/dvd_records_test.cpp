// SPDX-License-Identifier: Apache-2.0
// DVDs, their discs and what discs hold.
#include "golden_records.h"
#include "record_support.h"
#include "support/counting_hooks.h"

#include <cstring>

namespace kvxtest {
namespace {

DVD* loadDvd(const Fields& fields, int32_t expected = 0) {
    const GuardedBlob blob(assemble(fields));
    DVD* dvd = nullptr;
    EXPECT_EQ(KVXLoadNewDVDFromBlob(blob.cursor(), &dvd), expected);
    return dvd;
}

void expectPair(const ValuePair& pair, const std::string& prefix) {
    EXPECT_EQ(textOf(pair.id), prefix + "id");
    EXPECT_EQ(textOf(pair.value), prefix + "value");
}

void expectChapter(const DVDChapter& chapter, const std::string& prefix) {
    EXPECT_EQ(chapter.short0, 1000);
    EXPECT_EQ(chapter.short1, 1001);
    EXPECT_EQ(textOf(chapter.text2), prefix + "text2");
    EXPECT_EQ(chapter.short3, 1003);
}

void expectDisc(const DVDDisc& disc, const std::string& p) {
    struct Case {
        const char* name;
        const KVXValueLength* text;
    };
    const Case texts[] = {
        {"text0", disc.text0},   {"text1", disc.text1},   {"text4", disc.text4},   {"text5", disc.text5},
        {"text6", disc.text6},   {"text10", disc.text10}, {"text11", disc.text11}, {"text12", disc.text12},
        {"text14", disc.text14}, {"text15", disc.text15}, {"text16", disc.text16}, {"text18", disc.text18},
        {"text19", disc.text19}, {"text20", disc.text20}, {"text24", disc.text24}, {"text25", disc.text25},
        {"text26", disc.text26}, {"text33", disc.text33}, {"text35", disc.text35}, {"text36", disc.text36},
        {"text37", disc.text37},
    };
    for (const Case& c : texts) EXPECT_EQ(textOf(c.text), p + c.name);
    EXPECT_EQ(disc.short2, 1002);
    EXPECT_EQ(disc.short17, 1017);
    EXPECT_EQ(disc.short21, 1021);
    EXPECT_EQ(disc.short22, 1022);
    EXPECT_EQ(disc.short29, 1029);
    EXPECT_EQ(disc.short34, 1034);
    EXPECT_EQ(textsOf(disc.texts3, disc.texts3Count), "3.0||3.2");
    EXPECT_EQ(textsOf(disc.texts23, disc.texts23Count), "23.0");
    EXPECT_EQ(textsOf(disc.texts31, disc.texts31Count), "31.0|31.1");
    ASSERT_EQ(disc.valuePairs7Count, 1);
    expectPair(disc.valuePairs7[0], "7.0 ");
    ASSERT_EQ(disc.valuePairs8Count, 2);
    expectPair(disc.valuePairs8[1], "8.1 ");
    ASSERT_EQ(disc.valuePairs13Count, 1);
    expectPair(disc.valuePairs13[0], "13.0 ");
    ASSERT_EQ(disc.valuePairs30Count, 1);
    expectPair(disc.valuePairs30[0], "30.0 ");
    ASSERT_EQ(disc.castCount, 1);
    EXPECT_EQ(textOf(disc.cast[0].text0), "9.0 text0");
    EXPECT_EQ(textOf(disc.cast[0].text3), "9.0 text3");
    EXPECT_EQ(textOf(disc.cast[0].text4), "9.0 text4");
    ASSERT_EQ(disc.chapters27Count, 2);
    expectChapter(disc.chapters27[1], "27.1 ");
    ASSERT_EQ(disc.chapters28Count, 1);
    expectChapter(disc.chapters28[0], "28.0 ");
    ASSERT_EQ(disc.shortDvdCount, 1);
    EXPECT_EQ(textOf(disc.shortDvds[0].text2), "32.0 text2");
    EXPECT_EQ(textOf(disc.shortDvds[0].text3), "32.0 text3");
}

TEST(DvdRecord, FillsItsMembers) {
    CountingHooks hooks;
    DVD* dvd = loadDvd(dvdFields());
    ASSERT_NE(dvd, nullptr);
    EXPECT_EQ(textOf(dvd->dvdId), "dvdId");
    EXPECT_EQ(textOf(dvd->title), "title");
    EXPECT_EQ(textOf(dvd->text5), "text5");
    EXPECT_EQ(textOf(dvd->text2), "text2");
    EXPECT_EQ(dvd->short3, 1003);
    ASSERT_EQ(dvd->discCount, 1);
    expectDisc(dvd->discs[0], "4.0 ");
    EXPECT_EQ(KVXFreeDVD(&dvd), 0);
    EXPECT_EQ(dvd, nullptr);
    EXPECT_EQ(hooks.live(), 0U);
    EXPECT_EQ(KVXFreeDVD(nullptr), 0);
    EXPECT_EQ(KVXFreeDVD(&dvd), 0);
}

TEST(DvdRecord, HasNoDiscsWhenItsFieldIsEmpty) {
    CountingHooks hooks;
    Fields fields = dvdFields();
    fields[4].clear();
    DVD* dvd = loadDvd(fields);
    ASSERT_NE(dvd, nullptr);
    EXPECT_EQ(dvd->discs, nullptr);
    EXPECT_EQ(dvd->discCount, 0);
    KVXFreeDVD(&dvd);
    EXPECT_EQ(hooks.live(), 0U);
}

TEST(DvdRecord, IsRefusedBelow2FieldsWithNothingTouched) {
    CountingHooks hooks;
    const GuardedBlob blob(assemble(Fields(1)));
    DVD other{};
    DVD* dvd = &other;
    EXPECT_EQ(KVXLoadNewDVDFromBlob(blob.cursor(), &dvd), -1);
    EXPECT_EQ(dvd, &other);
    EXPECT_EQ(hooks.allocations(), 0);
}

TEST(DvdRecord, FailsLaterWith2To4Fields) {
    for (size_t count = 2; count <= 4; ++count) {
        SCOPED_TRACE(count);
        CountingHooks hooks;
        // Field 0 holds the end of the index after the last field, so that the failure is the index beyond the count.
        Fields fields(count);
        fields[0] = intBytes(static_cast<uint32_t>(4 * count + 5 + 4));
        EXPECT_EQ(loadDvd(fields, -1), nullptr);
        EXPECT_GT(hooks.allocations(), 0);
        EXPECT_EQ(hooks.live(), 0U);
    }
}

TEST(DvdDiscRecord, FillsItsMembers) {
    CountingHooks hooks;
    const GuardedBlob blob(assemble(dvdDiscFields()));
    DVDDisc disc{};
    ASSERT_EQ(KVXLoadDVDDiscFromBlob(blob.cursor(), &disc), 0);
    expectDisc(disc, "");
    EXPECT_EQ(KVXFreeDVDDiscContents(&disc), 0);
    EXPECT_EQ(hooks.live(), 0U);
    EXPECT_EQ(KVXFreeDVDDiscContents(nullptr), 0);
}

TEST(DvdDiscRecord, IsZeroedByItsLoaderAlsoWhenItFails) {
    CountingHooks hooks;
    DVDDisc disc;
    std::memset(&disc, 0xAA, sizeof disc);
    EXPECT_EQ(KVXLoadDVDDiscFromBlob(nullptr, &disc), -1);
    const DVDDisc zero{};
    EXPECT_EQ(disc.text0, nullptr);
    EXPECT_EQ(disc.cast, nullptr);
    EXPECT_EQ(disc.castCount, zero.castCount);
    EXPECT_EQ(disc.short29, 0);
    EXPECT_EQ(hooks.allocations(), 0);

    std::memset(&disc, 0xAA, sizeof disc);
    Fields fields = dvdDiscFields();
    for (const size_t index : Indexes{3, 7, 8, 9, 13, 23, 27, 28, 30, 31, 32}) fields[index].clear();
    const GuardedBlob blob(assemble(fields));
    ASSERT_EQ(KVXLoadDVDDiscFromBlob(blob.cursor(), &disc), 0);
    EXPECT_EQ(disc.cast, nullptr);
    EXPECT_EQ(disc.castCount, 0);
    EXPECT_EQ(disc.texts31, nullptr);
    KVXFreeDVDDiscContents(&disc);
    EXPECT_EQ(hooks.live(), 0U);
}

TEST(FreeingDvdDiscs, FreesEveryElement) {
    CountingHooks hooks;
    const GuardedBlob blob(assemble({assemble(Fields(2, assemble(dvdDiscFields())))}));
    void* array = nullptr;
    uint16_t count = 0;
    ASSERT_EQ(KVXGetNewArray(blob.cursor(), 0, sizeof(DVDDisc), &loadElement<DVDDisc, KVXLoadDVDDiscFromBlob>, &array,
                             &count),
              0);
    auto* discs = static_cast<DVDDisc*>(array);
    EXPECT_EQ(KVXFreeDVDDiscs(&discs, 2), 0);
    EXPECT_EQ(discs, nullptr);
    EXPECT_EQ(hooks.live(), 0U);
}

TEST(DvdChapterRecord, FillsItsMembers) {
    CountingHooks hooks;
    const GuardedBlob blob(assemble(dvdChapterFields()));
    auto* chapter = static_cast<DVDChapter*>(KVXMalloc(sizeof(DVDChapter)));
    *chapter = {};
    ASSERT_EQ(KVXLoadDVDChapterFromBlob(blob.cursor(), chapter), 0);
    expectChapter(*chapter, "");
    EXPECT_EQ(KVXFreeDVDChapters(&chapter, 1), 0);
    EXPECT_EQ(chapter, nullptr);
    EXPECT_EQ(hooks.live(), 0U);
}

TEST(DvdCastRecord, FillsItsMembers) {
    CountingHooks hooks;
    const GuardedBlob blob(assemble(dvdCastFields()));
    DVDCast cast{};
    ASSERT_EQ(KVXLoadDVDCastFromBlob(blob.cursor(), &cast), 0);
    EXPECT_EQ(textOf(cast.text0), "text0");
    EXPECT_EQ(textOf(cast.text1), "text1");
    EXPECT_EQ(textOf(cast.text2), "text2");
    EXPECT_EQ(textOf(cast.text3), "text3");
    EXPECT_EQ(textOf(cast.text4), "text4");
    EXPECT_EQ(KVXFreeDVDCastContents(&cast), 0);
    EXPECT_EQ(hooks.live(), 0U);
}

TEST(ShortDvdRecord, FillsItsMembers) {
    CountingHooks hooks;
    const GuardedBlob blob(assemble(shortDvdFields()));
    ShortDVD dvd{};
    ASSERT_EQ(KVXLoadShortDVDFromBlob(blob.cursor(), &dvd), 0);
    EXPECT_EQ(textOf(dvd.text0), "text0");
    EXPECT_EQ(textOf(dvd.text1), "text1");
    EXPECT_EQ(textOf(dvd.text2), "text2");
    EXPECT_EQ(textOf(dvd.text3), "text3");
    EXPECT_EQ(KVXFreeShortDVDContents(&dvd), 0);
    EXPECT_EQ(hooks.live(), 0U);
}

} // namespace
} // namespace kvxtest
