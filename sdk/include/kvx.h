/* SPDX-License-Identifier: Apache-2.0 */
/*
 * kvx.h - the recognition library KVX: fingerprints of recordings, signed request packets, typed answers.
 *
 * Conventions
 *
 * Handle      Every call that needs state takes a KVXHandle first. KVXInit makes it, KVXShutdown ends it. One
 *             thread at a time may use a handle; different handles may be used by different threads.
 * Status      int32_t, 0 for success, -1 for failure, and the further codes that a function lists. The library
 *             writes no messages.
 * Ownership   What a function hands out through a pointer to a pointer belongs to the caller, who returns it with
 *             the matching KVXFree... function. Those take the address of the caller's pointer and, unless said
 *             otherwise, set it to null; null pointers are ignored. Arguments are never taken over.
 * Lengths     Bytes, unless the name says otherwise; texts are counted without their terminator. Sums of lengths never
 *             wrap around: what no blob or packet holds is refused with -1.
 * Memory      Taken and returned through the hooks KVXMalloc and KVXFree. A failed allocation gives -1, and
 *             everything taken so far is released.
 * Wire        Integers in packets and blobs are little-endian; they pass through KVXMemCopy2 and KVXMemCopy3.
 * Exceptions  No function throws, and no hook or callback may: an exception that reaches the library ends the program.
 * Reading     No call reads outside the bytes it was given, whatever they hold.
 */
#ifndef KVX_H
#define KVX_H

#include <stddef.h>
#include <stdint.h>

#if defined(__GNUC__)
#define KVX_API __attribute__((visibility("default")))
#else
#define KVX_API
#endif

#ifdef __cplusplus
#define KVX_NOEXCEPT noexcept
extern "C" {
#else
#define KVX_NOEXCEPT
#endif

/* ---------------------------------------------------------------------------------------------------------------
 * Constants
 * ------------------------------------------------------------------------------------------------------------ */

/* The version of this library. Packets carry another one, that of the protocol: m_KVXVersionMajor and so on. */
#define KVX_VERSION "0.9.0"
#define KVX_VERSION_MAJOR 0
#define KVX_VERSION_MINOR 9
#define KVX_VERSION_PATCH 0

KVX_API extern const uint16_t m_KVXBinHeaderLength;    /* 52 bytes */
KVX_API extern const uint8_t currentTrackMaskSize;     /* 3 bytes of track permission bits */
KVX_API extern const uint8_t currentAlbumMaskSize;     /* 4 bytes of album permission bits */
KVX_API extern const uint8_t currentPerformerMaskSize; /* 3 bytes of performer permission bits */
KVX_API extern const uint8_t currentDVDMaskSize;       /* 6 bytes of DVD permission bits */
KVX_API extern const uint8_t m_KVXVersionMajor;        /* 3: of the protocol */
KVX_API extern const uint8_t m_KVXVersionMinor;        /* 7 */
KVX_API extern const uint8_t m_KVXVersionRevision;     /* 0 */

/* Entries of the four content masks. */
#define KVX_TRACK_MASK_ENTRIES 17
#define KVX_ALBUM_MASK_ENTRIES 29
#define KVX_DVD_MASK_ENTRIES 41
#define KVX_PERFORMER_MASK_ENTRIES 22

/* Bytes of a device, user or server identity. */
#define KVX_ID_LENGTH 16

/* What KVXGenerateFingerprint3 returns while it wants more audio. */
#define KVX_MORE_AUDIO_WANTED 20

/* ---------------------------------------------------------------------------------------------------------------
 * Memory hooks: process-wide; replace them, if at all, before the first KVXInit
 * ------------------------------------------------------------------------------------------------------------ */

KVX_API extern void* (*KVXMalloc)(size_t size);
KVX_API extern void (*KVXFree)(void* block);
KVX_API extern void* (*KVXMemCopy)(void* destination, const void* source, size_t count);
/* Copies one integer to or from the wire; a port to a big-endian host swaps bytes here. */
KVX_API extern void* (*KVXMemCopy2)(void* destination, const void* source, size_t count);
KVX_API extern void* (*KVXMemCopy3)(void* destination, const void* source, size_t count, size_t elementSize);
KVX_API extern void* (*KVXMemSet)(void* destination, int byte, size_t count);
KVX_API extern int (*KVXMemCmp)(const void* a, const void* b, size_t count);

/* Defaults of KVXMemCopy2 and KVXMemCopy3: whatever KVXMemCopy holds at the time of the call, which they jump to. */
KVX_API void* MemCpy2(void* destination, const void* source, size_t count);
KVX_API void* MemCpy3(void* destination, const void* source, size_t count, size_t elementSize);

/* A tracing copy for the KVXMemCopy hook: prints the source as hexadecimal digits and as characters on standard
 * output, then copies. Nothing installs it. Returns destination. */
KVX_API void* fakeMemCpy(void* destination, const void* source, size_t count) KVX_NOEXCEPT;

/* ---------------------------------------------------------------------------------------------------------------
 * Texts and blobs
 * ------------------------------------------------------------------------------------------------------------ */

/* A byte string with its length. Every copy that a reader makes carries one zero byte after the last. */
typedef struct KVXValueLength {
    char* data;
    uint32_t length; /* bytes, without the trailing zero */
} KVXValueLength;

/* Length of a zero-terminated text; 0 for null. */
KVX_API uint32_t safe_strlen(const char* text) KVX_NOEXCEPT;

/* A cursor on a blob; it never owns the bytes.
 * Reading: data, and length in bytes (0: no blob). Writing: count is the record's number of fields, length the
 * write position, which is the blob's length when the writer is done. */
typedef struct KVXBlob {
    uint8_t* data;
    uint32_t count;
    uint32_t length;
} KVXBlob;

/* Shapes of the element callbacks: a loader fills *element from a read-only cursor; a writer writes element at the
 * cursor, starting at its own position 0; a size function sets *size to the bytes that the writer will write. */
typedef int32_t (*KVXElementLoader)(const KVXBlob* blob, void* element);
typedef int32_t (*KVXElementWriter)(const void* element, KVXBlob* blob);
typedef int32_t (*KVXElementSize)(const void* element, uint32_t* size);

/* Number of fields (byte 0); 0 for a null cursor or a length of 0. */
KVX_API uint32_t BlobGetCount(const KVXBlob* blob) KVX_NOEXCEPT;

/* Locates a field. -41 null cursor; -4 index beyond the count (an index equal to the count is accepted) or a blob
 * without fields; -1 the field does not lie inside the blob. Where the field's offsets can be read the outputs are
 * set even when the result is -1; they must then not be followed. The address of a field that starts beyond the blob is
 * that of the blob's end. */
KVX_API int32_t BlobGetData(const KVXBlob* blob, uint8_t index, const uint8_t** fieldData,
                            uint32_t* fieldLength) KVX_NOEXCEPT;

/* Readers. -1 when the field cannot be located. */
/* Fills *value with a new zero-terminated copy, a one-byte one for an empty field. Free value->data with KVXFree. */
KVX_API int32_t KVXGetMetaField(const KVXBlob* blob, uint8_t index, KVXValueLength* value) KVX_NOEXCEPT;
/* *value: a new object, null for an empty field. Free it with KVXFreeValueLength. */
KVX_API int32_t KVXGetNewMetaField(const KVXBlob* blob, uint8_t index, KVXValueLength** value) KVX_NOEXCEPT;
/* A field whose width is not exactly that of the number reads as 0, with status 0. */
KVX_API int32_t KVXGetShortField(const KVXBlob* blob, uint8_t index, uint16_t* value) KVX_NOEXCEPT;
KVX_API int32_t KVXGetIntField(const KVXBlob* blob, uint8_t index, uint32_t* value) KVX_NOEXCEPT;
KVX_API int32_t KVXGetNumberField(const KVXBlob* blob, uint8_t index, void* destination, uint32_t width) KVX_NOEXCEPT;
/* An empty field leaves both outputs untouched. A failing element gives -1 and leaves the array, partly filled and
 * zero after it, for the caller's free function. */
KVX_API int32_t KVXGetNewArray(const KVXBlob* blob, uint8_t index, uint32_t elementSize, KVXElementLoader loader,
                               void** array, uint16_t* count) KVX_NOEXCEPT;
KVX_API int32_t KVXGetNewValueLengthArray(const KVXBlob* blob, uint8_t index, KVXValueLength** array,
                                          uint16_t* count) KVX_NOEXCEPT;

/* Writers: fields strictly in index order, into a buffer of the size that the record's size function gave. -1, with the
 * write position where it was, for a field that would make the blob longer than its 32-bit offsets can say. */
KVX_API int32_t KVXWriteValueLengthToBlob(KVXBlob* blob, uint8_t index, const KVXValueLength* value) KVX_NOEXCEPT;
KVX_API int32_t KVXWriteShortToBlob(KVXBlob* blob, uint8_t index, const uint16_t* value) KVX_NOEXCEPT;
KVX_API int32_t KVXWriteEmptyBlob(KVXBlob* blob, uint8_t index) KVX_NOEXCEPT;
/* Arrays. With one element or more the field's start offset is not written: it is the end that the field before
 * wrote. A record whose field 0 is an array writes offset[0] itself. Keep arrays at 255 elements or fewer: the
 * count is stored modulo 256. */
KVX_API int32_t KVXWriteArrayToBlob(int16_t count, uint8_t index, uint32_t elementSize, const void* array,
                                    KVXElementWriter writer, KVXBlob* blob) KVX_NOEXCEPT;
KVX_API int32_t KVXWriteValueLengthArrayToBlob(int16_t count, uint8_t index, const KVXValueLength* array,
                                               KVXBlob* blob) KVX_NOEXCEPT;

/* Sizes in bytes (not statuses); 0 for no elements, 0xFFFFFFFF for more than a blob holds. */
KVX_API uint32_t KVXGetArrayBlobSize(const void* array, uint32_t elementSize, int16_t count,
                                     KVXElementSize elementBlobSize) KVX_NOEXCEPT;
KVX_API uint32_t KVXGetValueLengthArrayBlobSize(const KVXValueLength* array, int16_t count) KVX_NOEXCEPT;

/* Frees data and object; leaves the caller's pointer as it is. */
KVX_API int32_t KVXFreeValueLength(KVXValueLength** value) KVX_NOEXCEPT;
/* Frees the data of the first count elements and the array; nulls the pointer. */
KVX_API int32_t KVXFreeValueLengths(KVXValueLength** array, int16_t count) KVX_NOEXCEPT;

/* ---------------------------------------------------------------------------------------------------------------
 * Records: texts are null where absent; an array's count comes directly after it; members named by a number carry
 * the blob field of that index.
 *
 * For every record: a size function sets *size to the bytes that the writer will write (status 0), or to 0xFFFFFFFF for
 * more than a blob holds (-1); a writer writes at the cursor and leaves blob->length at that size (status 0); a loader
 * fills a zeroed record and returns 0 or -1, leaving what it filled for the caller to free; a KVXLoadNew... loader
 * allocates the record, and leaves nothing allocated and the pointer null on failure, unless said otherwise; a blob of
 * too few fields it refuses before it touches the pointer, so start from null. Free functions return 0; those named
 * ...Contents take the record and leave the record itself.
 * ------------------------------------------------------------------------------------------------------------ */

typedef struct ValuePair {
    KVXValueLength* id;
    KVXValueLength* value;
} ValuePair;

typedef struct ValuePairYOMI {
    KVXValueLength* propertyId;
    KVXValueLength* property; /* in a track's artist list: the artist's name */
    KVXValueLength* valueId;
    KVXValueLength* value;
} ValuePairYOMI;

typedef struct Credit {
    KVXValueLength* text1;
    KVXValueLength* text2;
    KVXValueLength* text3;
    KVXValueLength* text4; /* field 5 */
    KVXValueLength* text5; /* field 3 */
    KVXValueLength* text6; /* field 4 */
} Credit;

typedef struct NumValuePair {
    uint16_t number;
    KVXValueLength* value;
} NumValuePair;

typedef struct Release {
    KVXValueLength* text1;
    KVXValueLength* text2;
    KVXValueLength* text3; /* field 3 */
    KVXValueLength* text4; /* field 2 */
} Release;

typedef struct TrackDescriptor {
    KVXValueLength* text1;
    KVXValueLength* text0;
    KVXValueLength* text3;
    uint16_t short2;
} TrackDescriptor;

typedef struct CTrackData {
    KVXValueLength* text0;
    KVXValueLength* text1;
    ValuePairYOMI* yomiList2;
    uint16_t yomiList2Count;
    KVXValueLength* text3;
    KVXValueLength* text4;
} CTrackData;

typedef struct Track {
    KVXValueLength* trackId; /* field 0 */
    KVXValueLength* title;   /* field 1 */
    KVXValueLength* text2;
    KVXValueLength* text14;
    KVXValueLength* text20;
    uint16_t short3;
    uint16_t short22;
    uint16_t short4;
    ValuePairYOMI* yomiList5;
    uint16_t yomiList5Count;
    ValuePairYOMI* artists; /* field 6; element 0's property is the artist's name */
    uint16_t artistCount;
    KVXValueLength* texts21;
    uint16_t texts21Count;
    KVXValueLength* text7;
    KVXValueLength* text8;
    KVXValueLength* text9;
    KVXValueLength* text10;
    KVXValueLength* text11;
    uint16_t short16;
    uint16_t short15;
    uint16_t short19;
    TrackDescriptor* descriptors; /* field 12; never written */
    uint16_t descriptorCount;
    CTrackData* trackData;  /* field 13; never written */
    uint32_t int17;         /* never written */
    KVXValueLength* text18; /* never written, and left unreleased by KVXFreeTrackContents */
} Track;

typedef struct ShortAlbum {
    KVXValueLength* text0;
    KVXValueLength* text1;
    KVXValueLength* text2;
    KVXValueLength* text7;
    KVXValueLength* text3;
    KVXValueLength* text4;
    KVXValueLength* text5;
    KVXValueLength* text8;
    KVXValueLength* text6;
    uint16_t short9;
    uint16_t short10;
    uint16_t short11;
} ShortAlbum;

/* One medium of an album; its writer calls the same blob a disc. */
typedef struct CDMedia {
    Track* tracks; /* field 0 */
    uint16_t trackCount;
    uint16_t short2;
    uint16_t short1;
} CDMedia;

typedef struct CAlbumData {
    KVXValueLength* text0;
} CAlbumData;

typedef struct Album {
    KVXValueLength* albumId; /* field 0 */
    KVXValueLength* title;   /* field 1 */
    KVXValueLength* text2;
    KVXValueLength* text26;
    KVXValueLength* text3;
    KVXValueLength* artist; /* field 4 */
    KVXValueLength* text5;
    KVXValueLength* text27;
    KVXValueLength* text31;
    uint16_t short6;
    uint16_t short7;
    KVXValueLength* text8;
    KVXValueLength* text9;
    ValuePair* valuePair10; /* one, or null */
    uint16_t short11;
    KVXValueLength* text12;
    KVXValueLength* text32;
    Release* releases; /* field 13 */
    uint16_t releaseCount;
    Credit* credits; /* field 14 */
    uint16_t creditCount;
    CDMedia* media; /* field 15 */
    uint16_t mediaCount;
    ValuePair* valuePairs16;
    uint16_t valuePairs16Count;
    ValuePair* valuePairs17;
    uint16_t valuePairs17Count;
    ShortAlbum* shortAlbums; /* field 18 */
    uint16_t shortAlbumCount;
    KVXValueLength* text19;
    KVXValueLength* text20;
    KVXValueLength* texts21;
    uint16_t texts21Count;
    KVXValueLength* text22;
    uint16_t confidence; /* field 29 */
    uint16_t short28;
    uint16_t short30;
    uint16_t short23;
    ValuePair* valuePairs24;
    uint16_t valuePairs24Count;
    CAlbumData* albumData; /* field 25; never written */
    /* No blob fields: the loader leaves them null, no writer writes them, and KVXFreeAlbum leaves them alone. They
     * belong to the program that sets them, which frees them before it frees the album. */
    KVXValueLength* tarnAlbumId;
    KVXValueLength* tarnArtistId;
    ValuePairYOMI* attributes;
    uint16_t attributeCount;
} Album;

typedef struct TrackInfo {
    KVXValueLength* text0;
    KVXValueLength* text3;
    KVXValueLength* text4;
    KVXValueLength* text5;
    uint16_t short1;
    uint16_t short2;
    ValuePairYOMI* yomiList6;
    uint16_t yomiList6Count;
} TrackInfo;

typedef struct TrackToAlbum {
    Album* album;          /* field 1; null when empty */
    TrackInfo* trackInfos; /* field 0 */
    uint16_t trackInfoCount;
} TrackToAlbum;

typedef struct ShortDVD {
    KVXValueLength* text0;
    KVXValueLength* text1;
    KVXValueLength* text3;
    KVXValueLength* text2;
} ShortDVD;

typedef struct DVDChapter {
    uint16_t short0;
    uint16_t short1;
    KVXValueLength* text2;
    uint16_t short3;
} DVDChapter;

typedef struct DVDCast {
    KVXValueLength* text0;
    KVXValueLength* text1;
    KVXValueLength* text2;
    KVXValueLength* text4;
    KVXValueLength* text3;
} DVDCast;

typedef struct DVDDisc {
    KVXValueLength* text0;
    KVXValueLength* text1;
    KVXValueLength* text33;
    uint16_t short2;
    KVXValueLength* texts3;
    uint16_t texts3Count;
    KVXValueLength* text4;
    KVXValueLength* text5;
    KVXValueLength* text6;
    ValuePair* valuePairs7;
    uint16_t valuePairs7Count;
    ValuePair* valuePairs8;
    uint16_t valuePairs8Count;
    DVDCast* cast; /* field 9 */
    uint16_t castCount;
    KVXValueLength* text10;
    KVXValueLength* text35;
    KVXValueLength* text11;
    KVXValueLength* text36;
    KVXValueLength* text12;
    KVXValueLength* text37;
    ValuePair* valuePairs13;
    uint16_t valuePairs13Count;
    ValuePair* valuePairs30;
    uint16_t valuePairs30Count;
    KVXValueLength* text14;
    KVXValueLength* text15;
    KVXValueLength* text16;
    uint16_t short17;
    KVXValueLength* text18;
    KVXValueLength* text19;
    KVXValueLength* text20;
    KVXValueLength* text24;
    KVXValueLength* text25;
    KVXValueLength* text26;
    KVXValueLength* texts23;
    uint16_t texts23Count;
    KVXValueLength* texts31;
    uint16_t texts31Count;
    ShortDVD* shortDvds; /* field 32 */
    uint16_t shortDvdCount;
    DVDChapter* chapters27;
    uint16_t chapters27Count;
    DVDChapter* chapters28;
    uint16_t chapters28Count;
    uint16_t short21;
    uint16_t short34;
    uint16_t short22;
    uint16_t short29;
} DVDDisc;

typedef struct DVD {
    KVXValueLength* dvdId; /* field 0 */
    KVXValueLength* title; /* field 1 */
    KVXValueLength* text5;
    KVXValueLength* text2;
    uint16_t short3;
    DVDDisc* discs; /* field 4 */
    uint16_t discCount;
} DVD;

typedef struct Performer {
    uint16_t short0;
    KVXValueLength* text1;
    KVXValueLength* text2;
    KVXValueLength* text3;
    KVXValueLength* text21;
    KVXValueLength* text4;
    KVXValueLength* text5;
    ValuePair* valuePairs6;
    uint16_t valuePairs6Count;
    KVXValueLength* text7;
    KVXValueLength* text25;
    KVXValueLength* texts8;
    uint16_t texts8Count;
    KVXValueLength* text9;
    KVXValueLength* text10;
    KVXValueLength* text11;
    KVXValueLength* text12;
    ShortAlbum* shortAlbums; /* field 13 */
    uint16_t shortAlbumCount;
    ShortDVD* shortDvds; /* field 23 */
    uint16_t shortDvdCount;
    KVXValueLength* texts14;
    uint16_t texts14Count;
    ValuePairYOMI* yomiList15;
    uint16_t yomiList15Count;
    ValuePairYOMI* yomiList16;
    uint16_t yomiList16Count;
    KVXValueLength* text17;
    ValuePairYOMI* yomiList18;
    uint16_t yomiList18Count;
    ValuePairYOMI* yomiList19;
    uint16_t yomiList19Count;
    ValuePair* valuePairs20;
    uint16_t valuePairs20Count;
    uint16_t short22;
    uint16_t short24;
} Performer;

/* Shared records */
KVX_API int32_t KVXGetValuePairBlobSize(const ValuePair* record, uint32_t* size) KVX_NOEXCEPT;
KVX_API int32_t KVXGetValuePairBlob(const ValuePair* record, KVXBlob* blob) KVX_NOEXCEPT;
KVX_API int32_t KVXLoadValuePairFromBlob(const KVXBlob* blob, ValuePair* record) KVX_NOEXCEPT;
KVX_API int32_t KVXFreeValuePairs(ValuePair** array, int16_t count) KVX_NOEXCEPT;

KVX_API int32_t KVXGetValuePairYOMIBlobSize(const ValuePairYOMI* record, uint32_t* size) KVX_NOEXCEPT;
KVX_API int32_t KVXGetValuePairYOMIBlob(const ValuePairYOMI* record, KVXBlob* blob) KVX_NOEXCEPT;
KVX_API int32_t KVXLoadValuePairYOMIFromBlob(const KVXBlob* blob, ValuePairYOMI* record) KVX_NOEXCEPT;
KVX_API int32_t KVXFreeValuePairYOMIs(ValuePairYOMI** array, int16_t count) KVX_NOEXCEPT;

KVX_API int32_t KVXGetCreditsBlobSize(const Credit* record, uint32_t* size) KVX_NOEXCEPT;
KVX_API int32_t KVXGetCreditsBlob(const Credit* record, KVXBlob* blob) KVX_NOEXCEPT;
KVX_API int32_t KVXLoadCreditFromBlob(const KVXBlob* blob, Credit* record) KVX_NOEXCEPT;
KVX_API int32_t KVXFreeCredits(Credit** array, int16_t count) KVX_NOEXCEPT;

KVX_API int32_t KVXGetNumValuePairBlobSize(const NumValuePair* record, uint32_t* size) KVX_NOEXCEPT;
KVX_API int32_t KVXGetNumValuePairBlob(const NumValuePair* record, KVXBlob* blob) KVX_NOEXCEPT;
/* -1 too unless the blob has exactly two fields and the first is exactly two bytes long. */
KVX_API int32_t KVXLoadNumValuePairFromBlob(const KVXBlob* blob, NumValuePair* record) KVX_NOEXCEPT;
KVX_API int32_t KVXFreeNumValuePair(NumValuePair** record) KVX_NOEXCEPT;
/* A bare array at top level. With no elements the blob is 5 bytes, of which only the first is written. */
KVX_API int32_t KVXGetNumValuePairsBlobSize(const NumValuePair* array, int16_t count, uint32_t* size) KVX_NOEXCEPT;
KVX_API int32_t KVXGetNumValuePairsBlob(const NumValuePair* array, int16_t count, KVXBlob* blob) KVX_NOEXCEPT;

KVX_API int32_t KVXGetReleaseBlobSize(const Release* record, uint32_t* size) KVX_NOEXCEPT;
KVX_API int32_t KVXGetReleaseBlob(const Release* record, KVXBlob* blob) KVX_NOEXCEPT;
KVX_API int32_t KVXLoadReleaseFromBlob(const KVXBlob* blob, Release* record) KVX_NOEXCEPT;
/* Frees the texts; leaves the record, its member pointers and the caller's pointer as they are. */
KVX_API int32_t KVXFreeRelease(Release** record) KVX_NOEXCEPT;
KVX_API int32_t KVXFreeReleases(Release** array, int16_t count) KVX_NOEXCEPT;

/* Tracks */
KVX_API int32_t KVXGetTrackBlobSize(const Track* record, uint32_t* size) KVX_NOEXCEPT;
KVX_API int32_t KVXGetTrackBlob(const Track* record, KVXBlob* blob) KVX_NOEXCEPT;
KVX_API int32_t KVXLoadTrackFromBlob(const KVXBlob* blob, Track* record) KVX_NOEXCEPT;
/* -1 too for a blob of fewer than 14 fields. */
KVX_API int32_t KVXLoadNewTrackFromBlob(const KVXBlob* blob, Track** record) KVX_NOEXCEPT;
KVX_API int32_t KVXLoadTrackDescriptorFromBlob(const KVXBlob* blob, TrackDescriptor* record) KVX_NOEXCEPT;
KVX_API int32_t KVXLoadCTrackDataFromBlob(const KVXBlob* blob, CTrackData* record) KVX_NOEXCEPT;
/* -1 too for a blob of fewer than 5 fields (the pointer is then untouched). Allocates the size of a whole Track.
 * When the load fails the record is freed and the pointer left dangling. */
KVX_API int32_t KVXLoadNewCTrackFromBlob(const KVXBlob* blob, CTrackData** record) KVX_NOEXCEPT;
KVX_API int32_t KVXLoadTrackInfoFromBlob(const KVXBlob* blob, TrackInfo* record) KVX_NOEXCEPT;
KVX_API int32_t KVXLoadTrackToAlbumFromBlob(const KVXBlob* blob, TrackToAlbum* record) KVX_NOEXCEPT;
/* -1 too for a blob of fewer than 2 fields. */
KVX_API int32_t KVXLoadNewTrackToAlbumFromBlob(const KVXBlob* blob, TrackToAlbum** record) KVX_NOEXCEPT;
KVX_API int32_t KVXFreeTrack(Track** record) KVX_NOEXCEPT;
KVX_API int32_t KVXFreeTracks(Track** array, int16_t count) KVX_NOEXCEPT;
/* Everything but text18. */
KVX_API int32_t KVXFreeTrackContents(Track* record) KVX_NOEXCEPT;
KVX_API int32_t KVXFreeTrackDescriptorContents(TrackDescriptor* record) KVX_NOEXCEPT;
/* Frees contents and record; leaves the caller's pointer as it is. */
KVX_API int32_t KVXFreeCTrackData(CTrackData** record) KVX_NOEXCEPT;
/* Frees the contents; leaves the record itself, an element of an array. */
KVX_API int32_t KVXFreeTrackInfo(TrackInfo* record) KVX_NOEXCEPT;
KVX_API int32_t KVXFreeTrackInfos(TrackInfo** array, int16_t count) KVX_NOEXCEPT;
KVX_API int32_t KVXFreeTrackToAlbum(TrackToAlbum** record) KVX_NOEXCEPT;

/* Albums */
KVX_API int32_t KVXGetAlbumBlobSize(const Album* record, uint32_t* size) KVX_NOEXCEPT;
KVX_API int32_t KVXGetAlbumBlob(const Album* record, KVXBlob* blob) KVX_NOEXCEPT;
KVX_API int32_t KVXLoadAlbumFromBlob(const KVXBlob* blob, Album* record) KVX_NOEXCEPT;
/* -1 too for a blob of fewer than 25 fields. */
KVX_API int32_t KVXLoadNewAlbumFromBlob(const KVXBlob* blob, Album** record) KVX_NOEXCEPT;
KVX_API int32_t KVXFreeAlbum(Album** record) KVX_NOEXCEPT;
KVX_API int32_t KVXGetShortAlbumBlobSize(const ShortAlbum* record, uint32_t* size) KVX_NOEXCEPT;
KVX_API int32_t KVXGetShortAlbumBlob(const ShortAlbum* record, KVXBlob* blob) KVX_NOEXCEPT;
KVX_API int32_t KVXLoadShortAlbumFromBlob(const KVXBlob* blob, ShortAlbum* record) KVX_NOEXCEPT;
KVX_API int32_t KVXFreeShortAlbum(ShortAlbum** record) KVX_NOEXCEPT;
KVX_API int32_t KVXFreeShortAlbums(ShortAlbum** array, int16_t count) KVX_NOEXCEPT;
KVX_API int32_t KVXFreeShortAlbumContents(ShortAlbum* record) KVX_NOEXCEPT;
KVX_API int32_t KVXGetDiscBlobSize(const CDMedia* record, uint32_t* size) KVX_NOEXCEPT;
KVX_API int32_t KVXGetDiscBlob(const CDMedia* record, KVXBlob* blob) KVX_NOEXCEPT;
KVX_API int32_t KVXLoadCDMediaFromBlob(const KVXBlob* blob, CDMedia* record) KVX_NOEXCEPT;
KVX_API int32_t KVXFreeDiscs(CDMedia** array, int16_t count) KVX_NOEXCEPT;
KVX_API int32_t KVXLoadCAlbumDataFromBlob(const KVXBlob* blob, CAlbumData* record) KVX_NOEXCEPT;
/* -1 too for a blob without fields. Allocates the size of a whole Track. */
KVX_API int32_t KVXLoadNewCAlbumFromBlob(const KVXBlob* blob, CAlbumData** record) KVX_NOEXCEPT;
KVX_API int32_t KVXFreeCAlbumData(CAlbumData** record) KVX_NOEXCEPT;

/* DVDs */
KVX_API int32_t KVXGetDVDBlobSize(const DVD* record, uint32_t* size) KVX_NOEXCEPT;
KVX_API int32_t KVXGetDVDBlob(const DVD* record, KVXBlob* blob) KVX_NOEXCEPT;
KVX_API int32_t KVXLoadDVDFromBlob(const KVXBlob* blob, DVD* record) KVX_NOEXCEPT;
/* -1 too for a blob of fewer than 2 fields. */
KVX_API int32_t KVXLoadNewDVDFromBlob(const KVXBlob* blob, DVD** record) KVX_NOEXCEPT;
KVX_API int32_t KVXFreeDVD(DVD** record) KVX_NOEXCEPT;
KVX_API int32_t KVXGetDVDDiscBlobSize(const DVDDisc* record, uint32_t* size) KVX_NOEXCEPT;
KVX_API int32_t KVXGetDVDDiscBlob(const DVDDisc* record, KVXBlob* blob) KVX_NOEXCEPT;
/* Zeroes the record first, alone among the loaders. */
KVX_API int32_t KVXLoadDVDDiscFromBlob(const KVXBlob* blob, DVDDisc* record) KVX_NOEXCEPT;
KVX_API int32_t KVXFreeDVDDiscs(DVDDisc** array, int16_t count) KVX_NOEXCEPT;
KVX_API int32_t KVXFreeDVDDiscContents(DVDDisc* record) KVX_NOEXCEPT;
KVX_API int32_t KVXGetShortDVDBlobSize(const ShortDVD* record, uint32_t* size) KVX_NOEXCEPT;
KVX_API int32_t KVXGetShortDVD(const ShortDVD* record, KVXBlob* blob) KVX_NOEXCEPT;
KVX_API int32_t KVXLoadShortDVDFromBlob(const KVXBlob* blob, ShortDVD* record) KVX_NOEXCEPT;
KVX_API int32_t KVXFreeShortDVDContents(ShortDVD* record) KVX_NOEXCEPT;
KVX_API int32_t KVXGetDVDChapterBlobSize(const DVDChapter* record, uint32_t* size) KVX_NOEXCEPT;
KVX_API int32_t KVXGetDVDChapter(const DVDChapter* record, KVXBlob* blob) KVX_NOEXCEPT;
KVX_API int32_t KVXLoadDVDChapterFromBlob(const KVXBlob* blob, DVDChapter* record) KVX_NOEXCEPT;
KVX_API int32_t KVXFreeDVDChapters(DVDChapter** array, int16_t count) KVX_NOEXCEPT;
KVX_API int32_t KVXGetDVDCastBlobSize(const DVDCast* record, uint32_t* size) KVX_NOEXCEPT;
KVX_API int32_t KVXGetDVDCast(const DVDCast* record, KVXBlob* blob) KVX_NOEXCEPT;
KVX_API int32_t KVXLoadDVDCastFromBlob(const KVXBlob* blob, DVDCast* record) KVX_NOEXCEPT;
KVX_API int32_t KVXFreeDVDCastContents(DVDCast* record) KVX_NOEXCEPT;

/* Performers: read only */
KVX_API int32_t KVXLoadPerformerFromBlob(const KVXBlob* blob, Performer* record) KVX_NOEXCEPT;
/* -1 too for a blob of fewer than 17 fields. */
KVX_API int32_t KVXLoadNewPerformerFromBlob(const KVXBlob* blob, Performer** record) KVX_NOEXCEPT;
KVX_API int32_t KVXFreePerformer(Performer** record) KVX_NOEXCEPT;

/* ---------------------------------------------------------------------------------------------------------------
 * Handle and settings
 * ------------------------------------------------------------------------------------------------------------ */

typedef struct KVXHandle KVXHandle;

/* Makes a handle.
 *   accessKey         80 hexadecimal characters: account id, encryption method, checksum method, 32-byte secret key.
 *                     A zero byte ends it early; the missing digits count as 0.
 *   deviceId, userId  identity bytes or null; a length of 17 or more is cut to 16.
 *   requestFraming, responseFraming  'H' for HTTP text around the packet, 'B' for bare packets.
 *   clientKind        one character, carried in every packet header.
 *   hostName          null, or a length of 0, selects the default recognition server.
 * -1 for a null accessKey, an unknown method in it, or failed memory; *handleOut is then null. */
KVX_API int32_t KVXInit(KVXHandle** handleOut, const char* accessKey, const uint8_t* deviceId, int16_t deviceIdLength,
                        const uint8_t* userId, int16_t userIdLength, int32_t requestFraming, int32_t responseFraming,
                        int32_t clientKind, const char* hostName, uint16_t hostNameLength) KVX_NOEXCEPT;

/* Ends a handle and nulls the pointer; -1 when there is none. */
KVX_API int32_t KVXShutdown(KVXHandle** handleInOut) KVX_NOEXCEPT;

/* Content masks: one flag byte per entry, all 1 in a fresh handle; a change takes effect in the next request.
 * -1 for a null argument, but KVXGetTrackMask does not test its handle. */
KVX_API int32_t KVXGetTrackMask(const KVXHandle* handle, uint8_t* mask) KVX_NOEXCEPT;
KVX_API int32_t KVXSetTrackMask(KVXHandle* handle, const uint8_t* mask) KVX_NOEXCEPT;
KVX_API int32_t KVXGetAlbumMask(const KVXHandle* handle, uint8_t* mask) KVX_NOEXCEPT;
KVX_API int32_t KVXSetAlbumMask(KVXHandle* handle, const uint8_t* mask) KVX_NOEXCEPT;
KVX_API int32_t KVXGetDVDMask(const KVXHandle* handle, uint8_t* mask) KVX_NOEXCEPT;
KVX_API int32_t KVXSetDVDMask(KVXHandle* handle, const uint8_t* mask) KVX_NOEXCEPT;
KVX_API int32_t KVXGetPerformerMask(const KVXHandle* handle, uint8_t* mask) KVX_NOEXCEPT;
KVX_API int32_t KVXSetPerformerMask(KVXHandle* handle, const uint8_t* mask) KVX_NOEXCEPT;

/* The version of the protocol: 3, 7, 0. Always 0; the pointers are not tested. */
KVX_API int32_t KVXGetVersion(uint16_t* major, uint16_t* minor, uint16_t* revision) KVX_NOEXCEPT;

/* ---------------------------------------------------------------------------------------------------------------
 * Fingerprint session: 16-bit PCM in host order in, six code strings out (they leave in the request)
 * ------------------------------------------------------------------------------------------------------------ */

/* Opens a session, ending the one before. channels 1 or 2; sampleRateHz 11025 or more; durationMs of the whole track.
 * Returns where to start reading, in milliseconds from the start of the audio (0, or 44000 for a track longer than
 * 74.005 s); -2 for a track of 6005 ms or less; -1 for a null handle, other channels or rates, or failed memory. */
KVX_API int32_t KVXNewFingerprint3(KVXHandle* handle, int32_t channels, int32_t sampleRateHz,
                                   int32_t durationMs) KVX_NOEXCEPT;

/* Feeds count bytes of PCM, count a multiple of 4 also for mono. 20: more audio wanted; 0: the fingerprint is
 * complete; -1: null argument, bad count, no session, or failed memory. */
KVX_API int32_t KVXGenerateFingerprint3(KVXHandle* handle, const uint8_t* pcm, int32_t count) KVX_NOEXCEPT;

/* Feeds count samples that are mono at 22050 Hz already. 20 or 0 as above; -1: null handle or no session. Null samples
 * and a count below 1 feed nothing, and are no failure. */
KVX_API int32_t KVXGenerateFingerprint3_Real(KVXHandle* handle, const int16_t* samples, int32_t count) KVX_NOEXCEPT;

/* Number of 512-sample frames that a duration makes at 22050 Hz. */
KVX_API int32_t KVX_GetFeatureSize(uint32_t durationMs) KVX_NOEXCEPT;

/* Audio preparation, as the session uses it. */
/* Copies (count / elementSize) * elementSize bytes unchanged: it swaps nothing. Returns destination. */
KVX_API void* KVXEndianBufferCopy(void* destination, const void* source, int32_t count,
                                  uint32_t elementSize) KVX_NOEXCEPT;
/* Means of value pairs, rounded toward minus infinity, into the first half of samples; count is of 16-bit values. */
KVX_API void KVXMixChannels(int16_t* samples, uint32_t count) KVX_NOEXCEPT;
/* Resets the handle's resampler; -1 for a null handle. */
KVX_API int32_t KVXResamplerInit(KVXHandle* handle, int32_t inputRateHz, int32_t outputRateHz) KVX_NOEXCEPT;
/* Linear interpolation; carries its position from call to call. Returns the samples written, at most outputCapacity:
 * a full output ends the call and drops the rest of the input. 0 for a null handle. */
KVX_API uint32_t KVXResample(KVXHandle* handle, const int16_t* input, int16_t* output, int32_t inputCount,
                             uint32_t outputCapacity) KVX_NOEXCEPT;

/* ---------------------------------------------------------------------------------------------------------------
 * Requests
 * ------------------------------------------------------------------------------------------------------------ */

/* What a fingerprint request says about its recording; every member may be zero or null. */
typedef struct KVXFingerprintDescriptor {
    const char* text1; /* the client: the file's name */
    const char* text2;
    const char* text3;
    const char* text4;
    const char* text5;
    const char* text6;
    const char* text7;
    const char* text8;
    const char* text9;
    const char* text10;
    uint32_t value1; /* the client: 44100 */
    uint32_t value2;
    int16_t short1;
    int16_t short2;
    int16_t short3;
    int16_t flagShort; /* sent as 1 when it is not 0 */
    int16_t short5;
    int16_t short6;
} KVXFingerprintDescriptor;

/* Builds the 'F' packet of a finished session. pairs may be null; descriptor may be null. Two calls on the same
 * session give the same bytes. -1: null handle, unfinished session, unknown framing, no signature possible, failed
 * memory; -3: the handle has no device identity. On failure the outputs are untouched. */
KVX_API int32_t KVXGenerateFingerprintRequest3(KVXHandle* handle, const NumValuePair* pairs, int16_t pairCount,
                                               const KVXFingerprintDescriptor* descriptor, uint16_t requestOption,
                                               int32_t languageCode, uint8_t** bufferOut,
                                               uint32_t* lengthOut) KVX_NOEXCEPT;
KVX_API int32_t KVXFreeFingerprintRequest3(uint8_t** bufferInOut) KVX_NOEXCEPT;

/* Builds the 'G' packet, which asks for a device identity; id may be null (pass 0 as its length: any other is counted
 * in the packet's lengths, and no server can read it). Clears the handle's user id for good. -1: null handle, unusable
 * handle, unknown framing, no signature possible, failed memory. */
KVX_API int32_t KVXGenerateIDRequest(KVXHandle* handle, const uint8_t* id, uint32_t idLength, uint8_t** bufferOut,
                                     uint32_t* lengthOut) KVX_NOEXCEPT;
KVX_API int32_t KVXFreeIDRequest(uint8_t** bufferInOut) KVX_NOEXCEPT;

/* Builds the 'M' packet, which asks for the items of kind lookupKind ('A': albums) of idCount ids. -1 as above, and
 * for an idCount below 1; -3: the handle has no device identity. */
KVX_API int32_t KVXGenerateMetaIDRequest(KVXHandle* handle, uint8_t lookupKind, const KVXValueLength* idList,
                                         uint32_t idCount, int16_t requestOption, int32_t languageCode,
                                         uint8_t** bufferOut, uint32_t* lengthOut) KVX_NOEXCEPT;
KVX_API int32_t KVXFreeMetaIDRequest(uint8_t** bufferInOut) KVX_NOEXCEPT;

/* The pieces of a packet. "Position" points to an offset into buffer, read on entry and advanced on exit; with a
 * null buffer a piece only sets it to the piece's length. -1 for a null handle or an unknown framing. */
KVX_API int32_t KVXGetBINHeader(const KVXHandle* handle, uint8_t* buffer, uint32_t* position, int32_t languageCode,
                                uint16_t requestOption) KVX_NOEXCEPT;
KVX_API int32_t KVXMapPacketHeader(const KVXHandle* handle, uint8_t* buffer, uint32_t* position,
                                   uint32_t binLength) KVX_NOEXCEPT;
KVX_API int32_t KVXMapPacketFooter(const KVXHandle* handle, uint8_t* buffer, uint32_t* position) KVX_NOEXCEPT;
KVX_API int32_t KVXMapBINPermissions(const KVXHandle* handle, uint8_t* buffer, uint32_t* position) KVX_NOEXCEPT;
/* Each ORs its group's bits into zeroed bytes. */
KVX_API int32_t KVXMapAlbumPermissions(const KVXHandle* handle, uint8_t* destination) KVX_NOEXCEPT;
KVX_API int32_t KVXMapTrackPermissions(const KVXHandle* handle, uint8_t* destination) KVX_NOEXCEPT;
KVX_API int32_t KVXMapPerformerPermissions(const KVXHandle* handle, uint8_t* destination) KVX_NOEXCEPT;
KVX_API int32_t KVXMapDVDPermissions(const KVXHandle* handle, uint8_t* destination) KVX_NOEXCEPT;
/* Decimal digits of a value. */
KVX_API uint8_t KVXGetNumDigits(uint32_t value) KVX_NOEXCEPT;
/* Offset of the first byte after the first CR LF CR LF that begins at or after start; length + 1 when there is none,
 * start + 4 when start + 3 is not below length. Compare the result with length. */
KVX_API uint32_t KVXFindHTTPData(const uint8_t* data, uint32_t start, uint32_t length) KVX_NOEXCEPT;

/* ---------------------------------------------------------------------------------------------------------------
 * Answers
 * ------------------------------------------------------------------------------------------------------------ */

/* Takes an answer: keeps data (the caller's, to be kept alive while records are read) and counts its records into
 * *countOut (the 16-bit count, widened with its sign). -1 when the body is not an exact sequence of records. */
KVX_API int32_t KVXParseServerResponse(KVXHandle* handle, const uint8_t* data, int32_t length,
                                       int32_t* countOut) KVX_NOEXCEPT;

/* Type character of record number (from 1; anything below reads as 1), one of T A K D G N P O E; else -1. */
KVX_API int32_t KVXGetResponseType(KVXHandle* handle, int32_t number) KVX_NOEXCEPT;

/* Readers of record index (from 1). -1: null handle or malformed record; -3: the handle has no device identity;
 * -4: no such record; -5: a record of another type. */
KVX_API int32_t KVXGetTrack(KVXHandle* handle, int32_t index, Track** record) KVX_NOEXCEPT;
KVX_API int32_t KVXGetTrackToAlbum(KVXHandle* handle, int32_t index, TrackToAlbum** record) KVX_NOEXCEPT;
KVX_API int32_t KVXGetAlbum(KVXHandle* handle, int32_t index, Album** record) KVX_NOEXCEPT;
KVX_API int32_t KVXGetDVD(KVXHandle* handle, int32_t index, DVD** record) KVX_NOEXCEPT;
KVX_API int32_t KVXGetPerformer(KVXHandle* handle, int32_t index, Performer** record) KVX_NOEXCEPT;

/* Takes the identity of record 1, of type 'G' with one field of 16 bytes, as device id; -1 otherwise. */
KVX_API int32_t KVXSetID(KVXHandle* handle) KVX_NOEXCEPT;
/* Copies the 16-byte device id; -1 unless the handle has one. */
KVX_API int32_t KVXGetID(const KVXHandle* handle, uint8_t* destination) KVX_NOEXCEPT;
/* The library keeps no server error state: always -1. */
KVX_API int32_t KVXGetServerError(void) KVX_NOEXCEPT;

/* ---------------------------------------------------------------------------------------------------------------
 * Signing: methods 1 none, 2 byte sum / byte rotation, 3 MD4 / Blowfish, from the access key.
 * -1 for a null handle or an unknown method.
 * ------------------------------------------------------------------------------------------------------------ */

KVX_API int32_t KVXInitChecksum(KVXHandle* handle) KVX_NOEXCEPT;
KVX_API int32_t KVXUnInitChecksum(KVXHandle* handle) KVX_NOEXCEPT;
/* 4 or 16 bytes; -1 and length untouched for method 1. */
KVX_API int32_t KVXGetChecksumLength(const KVXHandle* handle, uint32_t* length) KVX_NOEXCEPT;
/* Sum of the bytes as signed 8-bit values, modulo 2^32; 0 for count < 1. */
KVX_API int32_t KVXChecksum_SumBits32(const uint8_t* data, int32_t count) KVX_NOEXCEPT;
/* Writes the checksum of data to output; methods other than 2 and 3 write nothing and give 0. */
KVX_API int32_t KVXGetChecksum(KVXHandle* handle, const uint8_t* data, uint32_t count, uint8_t* output) KVX_NOEXCEPT;
KVX_API int32_t KVXGetChecksum_MD4(KVXHandle* handle, const uint8_t* data, uint32_t count,
                                   uint8_t* output) KVX_NOEXCEPT;
KVX_API int32_t KVXInitEncryption(KVXHandle* handle) KVX_NOEXCEPT;
KVX_API int32_t KVXUnInitEncryption(KVXHandle* handle) KVX_NOEXCEPT;
/* Bytes of a packet's signature; -1 whenever the checksum method is 1. */
KVX_API int32_t KVXGetEncryptionLength(const KVXHandle* handle, uint32_t* length) KVX_NOEXCEPT;
/* Enciphers count bytes in place; Blowfish takes whole blocks of 8 only, else -1. A negative count is no block: 0 where
 * it is a multiple of 8. */
KVX_API int32_t KVXEncryptData(KVXHandle* handle, uint8_t* data, int32_t count) KVX_NOEXCEPT;
/* Adds 13 to every byte; always 0. */
KVX_API int32_t KVXEncryptROT13(uint8_t* data, int32_t count) KVX_NOEXCEPT;
KVX_API int32_t KVXEncryptBlowfish(KVXHandle* handle, uint8_t* data, int32_t count) KVX_NOEXCEPT;

#ifdef __cplusplus
}
#endif

#endif /* KVX_H */
