// SPDX-License-Identifier: Apache-2.0
// The codec of the records a second time, to compare the library with: written from docs/formats/records.md and
// docs/formats/blob.md alone, sharing no code with sdk/records. It is slow and keeps everything it reads.
//
// A record is a list of values by field index. What a type holds is said once, as a function that names its fields in
// their order to whoever asks: the decoder, or the maker of random records.
#pragma once

#include "support/hex.h"

#include <cstdint>
#include <random>
#include <span>
#include <string>
#include <variant>
#include <vector>

namespace kvxtest::plain {

struct Record;
struct RecordType;

struct List { // an array of records
    std::vector<Record> elements;
};
struct Part { // a nested record, or none
    std::vector<Record> record;
};
// An absent text and an empty one are the same on the wire: both are "".
using Value = std::variant<std::string, uint16_t, uint32_t, std::vector<std::string>, List, Part>;

struct Record {
    const RecordType* type = nullptr;
    std::vector<Value> fields;
};

// What becomes of a nested record that cannot be read whole.
enum class Unreadable {
    kFails,      // the record around it fails; what was read stays
    kFailsGone,  // the record around it fails; nothing of it stays
    kIsForgiven, // nothing fails; what was read stays
    kIsLeftOut,  // nothing fails; nothing of it stays
};

// Told the fields of a record, in the order of their indexes.
class FieldVisitor {
  public:
    virtual ~FieldVisitor() = default;
    virtual void text() = 0;
    virtual void keptText() = 0; // that freeing the record leaves
    virtual void number16() = 0;
    virtual void exactNumber16() = 0; // of another width: no record
    virtual void number32() = 0;
    virtual void texts() = 0;
    virtual void list(const RecordType& element) = 0;
    virtual void part(const RecordType& type, Unreadable rule) = 0;
    // Before any field: the blob must have exactly so many.
    virtual void exactCount(size_t count) = 0;

    void texts(int count) {
        for (int i = 0; i < count; ++i) text();
    }
    void numbers16(int count) {
        for (int i = 0; i < count; ++i) number16();
    }
    void lists(const RecordType& element, int count) {
        for (int i = 0; i < count; ++i) list(element);
    }
};

struct RecordType {
    const char* name;
    size_t leastFields; // that a loader which allocates asks for first; 0 where there is none
    void (*fields)(FieldVisitor&);
};

extern const RecordType kValuePair, kValuePairYomi, kCredit, kNumValuePair, kRelease, kTrackDescriptor, kCTrackData,
    kTrack, kTrackInfo, kTrackToAlbum, kShortAlbum, kCDMedia, kCAlbumData, kAlbum, kShortDvd, kDvdChapter, kDvdCast,
    kDvdDisc, kDvd, kPerformer;

// Who sends a record: a client leaves the fields empty that only the server sends.
enum class From { kServer, kClient };
Bytes encode(const Record& record, From sender);
// What is left of a record that a client sent.
Record asSentByClient(Record record);

constexpr long kNever = -1;

struct Decoded {
    bool isWhole = false;
    Record record;         // what could be read; blank after the first failure
    size_t keptBlocks = 0; // of memory that freeing leaves: two for every text18
    long allocations = 0;  // that reading takes, the record itself being the first
};

// failing: the number of the allocation that gives nothing.
Decoded decode(const RecordType& type, std::span<const uint8_t> blob, long failing = kNever);
// The same for a loader that allocates: too few fields and there is not even a record. Nothing stays of a failure.
Decoded decodeNew(const RecordType& type, std::span<const uint8_t> blob, long failing = kNever);

// Random contents, the same for a seed everywhere: absent, short and long texts, lists of none up to 255 elements as
// long as the record has no more than about valueLimit values.
Record randomRecord(const RecordType& type, std::mt19937& random, size_t valueLimit);

// The path of field indexes and element numbers to the first difference and both values there; "" for none.
std::string difference(const Record& a, const Record& b);

} // namespace kvxtest::plain
