// SPDX-License-Identifier: Apache-2.0
#include "records/library_records.h"

#include "records/plain_members.h"
#include "support/counting_hooks.h"
#include "support/guarded_bytes.h"

namespace kvxtest {
namespace {

using plain::MemberMaker;
using plain::MemberReader;

template <class Struct>
struct Functions {
    int32_t (*load)(const KVXBlob*, Struct*);
    void (*release)(Struct*); // contents and record
    int32_t (*loadNew)(const KVXBlob*, Struct**) = nullptr;
    int32_t (*measure)(const Struct*, uint32_t*) = nullptr;
    int32_t (*write)(const Struct*, KVXBlob*) = nullptr;
    bool leavesPointer = false; // of a failed load dangling
};

template <class Struct>
Struct* zeroed() {
    auto* record = static_cast<Struct*>(KVXMalloc(sizeof(Struct)));
    if (record != nullptr) std::memset(static_cast<void*>(record), 0, sizeof(Struct));
    return record;
}

// At the end of a page: a read after the blob is a fault.
struct Cursor {
    explicit Cursor(const Bytes& bytes)
        : guarded(bytes), blob{guarded.data(), 0, static_cast<uint32_t>(bytes.size())} {}
    GuardedBytes guarded;
    KVXBlob blob;
};

template <class Struct>
LibraryRecord through(const Functions<Struct>& f) {
    LibraryRecord record;
    record.type = &plain::typeOf(Struct{});
    record.load = [f](const Bytes& bytes) -> Loaded {
        const Cursor cursor(bytes);
        auto* into = zeroed<Struct>();
        if (into == nullptr) return {-1, {}};
        Loaded loaded{f.load(&cursor.blob, into), {}};
        loaded.record = MemberReader::read(*into);
        f.release(into);
        return loaded;
    };
    if (f.loadNew != nullptr) {
        record.loadNew = [f](const Bytes& bytes) -> Loaded {
            const Cursor cursor(bytes);
            Struct* made = nullptr;
            Loaded loaded{f.loadNew(&cursor.blob, &made), {}};
            if (loaded.status != 0) {
                EXPECT_TRUE(made == nullptr || f.leavesPointer);
                return loaded;
            }
            loaded.record = MemberReader::read(*made);
            f.release(made);
            return loaded;
        };
    }
    if (f.write != nullptr) {
        record.write = [f](const plain::Record& from) {
            auto* filled = zeroed<Struct>();
            MemberMaker::fill(*filled, from);
            uint32_t size = 0;
            EXPECT_EQ(f.measure(filled, &size), 0);
            const GuardedBytes buffer(Bytes(size, 0xCC));
            KVXBlob blob{buffer.data(), 0, 0};
            EXPECT_EQ(f.write(filled, &blob), 0);
            EXPECT_EQ(blob.length, size);
            f.release(filled);
            return Bytes(buffer.data(), buffer.data() + size);
        };
    }
    return record;
}

// The public free functions take arrays, single records or contents: each as one that ends a single record.
template <class Struct, int32_t (*Free)(Struct**, int16_t)>
void asArrayOfOne(Struct* record) {
    Free(&record, 1);
}
template <class Struct, int32_t (*Free)(Struct**)>
void whole(Struct* record) {
    Free(&record);
}
template <class Struct, int32_t (*Free)(Struct*)>
void contentsFirst(Struct* record) {
    Free(record);
    KVXFree(record);
}

// isPartialShown: also a record that failed can be looked at, because the caller made it.
bool compareReading(const plain::Decoded& expected, const std::function<Loaded(const Bytes&)>& load, const Bytes& bytes,
                    long failing, bool isPartialShown) {
    CountingHooks hooks;
    hooks.failAfter(failing);
    const Loaded loaded = load(bytes);
    EXPECT_EQ(loaded.status, expected.isWhole ? 0 : -1);
    EXPECT_EQ(loaded.record.has_value(), expected.isWhole || isPartialShown);
    if (loaded.record) {
        EXPECT_EQ(plain::difference(*loaded.record, expected.record), "");
    }
    EXPECT_EQ(hooks.live(), expected.keptBlocks);
    EXPECT_EQ(hooks.strayFrees(), 0);
    EXPECT_EQ(hooks.allocations(), expected.allocations);
    return hooks.hasFailed();
}

} // namespace

size_t compareReadings(const LibraryRecord& library, const Bytes& bytes, long failing) {
    size_t failed = 0;
    {
        SCOPED_TRACE("load");
        const plain::Decoded expected = plain::decode(*library.type, bytes, failing);
        // Without memory for the record there is nothing to load into.
        if (compareReading(expected, library.load, bytes, failing, failing != 0)) ++failed;
    }
    if (library.loadNew) {
        SCOPED_TRACE("loadNew");
        const plain::Decoded expected = plain::decodeNew(*library.type, bytes, failing);
        if (compareReading(expected, library.loadNew, bytes, failing, false)) ++failed;
    }
    return failed;
}

const std::vector<LibraryRecord>& libraryRecords() {
    static const std::vector<LibraryRecord> all = {
        through<ValuePair>({.load = KVXLoadValuePairFromBlob,
                            .release = asArrayOfOne<ValuePair, KVXFreeValuePairs>,
                            .measure = KVXGetValuePairBlobSize,
                            .write = KVXGetValuePairBlob}),
        through<ValuePairYOMI>({.load = KVXLoadValuePairYOMIFromBlob,
                                .release = asArrayOfOne<ValuePairYOMI, KVXFreeValuePairYOMIs>,
                                .measure = KVXGetValuePairYOMIBlobSize,
                                .write = KVXGetValuePairYOMIBlob}),
        through<Credit>({.load = KVXLoadCreditFromBlob,
                         .release = asArrayOfOne<Credit, KVXFreeCredits>,
                         .measure = KVXGetCreditsBlobSize,
                         .write = KVXGetCreditsBlob}),
        through<NumValuePair>({.load = KVXLoadNumValuePairFromBlob,
                               .release = whole<NumValuePair, KVXFreeNumValuePair>,
                               .measure = KVXGetNumValuePairBlobSize,
                               .write = KVXGetNumValuePairBlob}),
        through<Release>({.load = KVXLoadReleaseFromBlob,
                          .release = asArrayOfOne<Release, KVXFreeReleases>,
                          .measure = KVXGetReleaseBlobSize,
                          .write = KVXGetReleaseBlob}),
        through<TrackDescriptor>({.load = KVXLoadTrackDescriptorFromBlob,
                                  .release = contentsFirst<TrackDescriptor, KVXFreeTrackDescriptorContents>}),
        through<CTrackData>({.load = KVXLoadCTrackDataFromBlob,
                             .release = whole<CTrackData, KVXFreeCTrackData>,
                             .loadNew = KVXLoadNewCTrackFromBlob,
                             .leavesPointer = true}),
        through<Track>({.load = KVXLoadTrackFromBlob,
                        .release = whole<Track, KVXFreeTrack>,
                        .loadNew = KVXLoadNewTrackFromBlob,
                        .measure = KVXGetTrackBlobSize,
                        .write = KVXGetTrackBlob}),
        through<TrackInfo>({.load = KVXLoadTrackInfoFromBlob, .release = asArrayOfOne<TrackInfo, KVXFreeTrackInfos>}),
        through<TrackToAlbum>({.load = KVXLoadTrackToAlbumFromBlob,
                               .release = whole<TrackToAlbum, KVXFreeTrackToAlbum>,
                               .loadNew = KVXLoadNewTrackToAlbumFromBlob}),
        through<ShortAlbum>({.load = KVXLoadShortAlbumFromBlob,
                             .release = whole<ShortAlbum, KVXFreeShortAlbum>,
                             .measure = KVXGetShortAlbumBlobSize,
                             .write = KVXGetShortAlbumBlob}),
        through<CDMedia>({.load = KVXLoadCDMediaFromBlob,
                          .release = asArrayOfOne<CDMedia, KVXFreeDiscs>,
                          .measure = KVXGetDiscBlobSize,
                          .write = KVXGetDiscBlob}),
        through<CAlbumData>({.load = KVXLoadCAlbumDataFromBlob,
                             .release = whole<CAlbumData, KVXFreeCAlbumData>,
                             .loadNew = KVXLoadNewCAlbumFromBlob}),
        through<Album>({.load = KVXLoadAlbumFromBlob,
                        .release = whole<Album, KVXFreeAlbum>,
                        .loadNew = KVXLoadNewAlbumFromBlob,
                        .measure = KVXGetAlbumBlobSize,
                        .write = KVXGetAlbumBlob}),
        through<ShortDVD>({.load = KVXLoadShortDVDFromBlob,
                           .release = contentsFirst<ShortDVD, KVXFreeShortDVDContents>,
                           .measure = KVXGetShortDVDBlobSize,
                           .write = KVXGetShortDVD}),
        through<DVDChapter>({.load = KVXLoadDVDChapterFromBlob,
                             .release = asArrayOfOne<DVDChapter, KVXFreeDVDChapters>,
                             .measure = KVXGetDVDChapterBlobSize,
                             .write = KVXGetDVDChapter}),
        through<DVDCast>({.load = KVXLoadDVDCastFromBlob,
                          .release = contentsFirst<DVDCast, KVXFreeDVDCastContents>,
                          .measure = KVXGetDVDCastBlobSize,
                          .write = KVXGetDVDCast}),
        through<DVDDisc>({.load = KVXLoadDVDDiscFromBlob,
                          .release = asArrayOfOne<DVDDisc, KVXFreeDVDDiscs>,
                          .measure = KVXGetDVDDiscBlobSize,
                          .write = KVXGetDVDDiscBlob}),
        through<DVD>({.load = KVXLoadDVDFromBlob,
                      .release = whole<DVD, KVXFreeDVD>,
                      .loadNew = KVXLoadNewDVDFromBlob,
                      .measure = KVXGetDVDBlobSize,
                      .write = KVXGetDVDBlob}),
        through<Performer>({.load = KVXLoadPerformerFromBlob,
                            .release = whole<Performer, KVXFreePerformer>,
                            .loadNew = KVXLoadNewPerformerFromBlob}),
    };
    return all;
}

Bytes libraryNumValuePairs(const std::vector<plain::Record>& pairs, uint8_t fill) {
    std::vector<NumValuePair> filled(pairs.size());
    for (size_t i = 0; i < pairs.size(); ++i) MemberMaker::fill(filled[i], pairs[i]);
    const auto count = static_cast<int16_t>(pairs.size());
    uint32_t size = 0;
    EXPECT_EQ(KVXGetNumValuePairsBlobSize(filled.data(), count, &size), 0);
    const GuardedBytes buffer(Bytes(size, fill));
    KVXBlob blob{buffer.data(), 0, 0};
    EXPECT_EQ(KVXGetNumValuePairsBlob(filled.data(), count, &blob), 0);
    EXPECT_EQ(blob.length, size);
    for (NumValuePair& pair : filled) KVXFreeValueLength(&pair.value);
    return {buffer.data(), buffer.data() + size};
}

} // namespace kvxtest
