// SPDX-License-Identifier: Apache-2.0
#include "support/plain_codec.h"

#include "support/blob_assembler.h"

#include <optional>
#include <utility>

namespace kvxtest::plain {

// Shared records

constexpr RecordType kValuePair = {"ValuePair", 0, [](FieldVisitor& f) { f.texts(2); }};
constexpr RecordType kValuePairYomi = {"ValuePairYOMI", 0, [](FieldVisitor& f) { f.texts(4); }};
constexpr RecordType kCredit = {"Credit", 0, [](FieldVisitor& f) { f.texts(6); }};
constexpr RecordType kNumValuePair = {"NumValuePair", 0, [](FieldVisitor& f) {
                                          f.exactCount(2);
                                          f.exactNumber16();
                                          f.text();
                                      }};
constexpr RecordType kRelease = {"Release", 0, [](FieldVisitor& f) { f.texts(4); }};

// Tracks

constexpr RecordType kTrackDescriptor = {"TrackDescriptor", 0, [](FieldVisitor& f) {
                                             f.texts(2);
                                             f.number16();
                                             f.text();
                                         }};
constexpr RecordType kCTrackData = {"CTrackData", 5, [](FieldVisitor& f) {
                                        f.texts(2);
                                        f.list(kValuePairYomi);
                                        f.texts(2);
                                    }};
constexpr RecordType kTrack = {"Track", 14, [](FieldVisitor& f) {
                                   f.texts(3);                                   // 0 - 2
                                   f.numbers16(2);                               // 3, 4
                                   f.lists(kValuePairYomi, 2);                   // 5, 6
                                   f.texts(5);                                   // 7 - 11
                                   f.list(kTrackDescriptor);                     // 12
                                   f.part(kCTrackData, Unreadable::kIsForgiven); // 13
                                   f.text();                                     // 14
                                   f.numbers16(2);                               // 15, 16
                                   f.number32();                                 // 17
                                   f.keptText();                                 // 18
                                   f.number16();                                 // 19
                                   f.text();                                     // 20
                                   f.texts();                                    // 21
                                   f.number16();                                 // 22
                               }};
constexpr RecordType kTrackInfo = {"TrackInfo", 0, [](FieldVisitor& f) {
                                       f.text();
                                       f.numbers16(2);
                                       f.texts(3);
                                       f.list(kValuePairYomi);
                                   }};
constexpr RecordType kTrackToAlbum = {"TrackToAlbum", 2, [](FieldVisitor& f) {
                                          f.list(kTrackInfo);
                                          f.part(kAlbum, Unreadable::kFailsGone);
                                      }};

// Albums

constexpr RecordType kShortAlbum = {"ShortAlbum", 0, [](FieldVisitor& f) {
                                        f.texts(9);
                                        f.numbers16(3);
                                    }};
constexpr RecordType kCDMedia = {"CDMedia", 0, [](FieldVisitor& f) {
                                     f.list(kTrack);
                                     f.numbers16(2);
                                 }};
constexpr RecordType kCAlbumData = {"CAlbumData", 1, [](FieldVisitor& f) { f.text(); }};
constexpr RecordType kAlbum = {"Album", 25, [](FieldVisitor& f) {
                                   f.texts(6);                                  // 0 - 5
                                   f.numbers16(2);                              // 6, 7
                                   f.texts(2);                                  // 8, 9
                                   f.part(kValuePair, Unreadable::kFails);      // 10
                                   f.number16();                                // 11
                                   f.text();                                    // 12
                                   f.list(kRelease);                            // 13
                                   f.list(kCredit);                             // 14
                                   f.list(kCDMedia);                            // 15
                                   f.lists(kValuePair, 2);                      // 16, 17
                                   f.list(kShortAlbum);                         // 18
                                   f.texts(2);                                  // 19, 20
                                   f.texts();                                   // 21
                                   f.text();                                    // 22
                                   f.number16();                                // 23
                                   f.list(kValuePair);                          // 24
                                   f.part(kCAlbumData, Unreadable::kIsLeftOut); // 25
                                   f.texts(2);                                  // 26, 27
                                   f.numbers16(3);                              // 28 - 30
                                   f.texts(2);                                  // 31, 32
                               }};

// DVDs

constexpr RecordType kShortDvd = {"ShortDVD", 0, [](FieldVisitor& f) { f.texts(4); }};
constexpr RecordType kDvdChapter = {"DVDChapter", 0, [](FieldVisitor& f) {
                                        f.numbers16(2);
                                        f.text();
                                        f.number16();
                                    }};
constexpr RecordType kDvdCast = {"DVDCast", 0, [](FieldVisitor& f) { f.texts(5); }};
constexpr RecordType kDvdDisc = {"DVDDisc", 0, [](FieldVisitor& f) {
                                     f.texts(2);              // 0, 1
                                     f.number16();            // 2
                                     f.texts();               // 3
                                     f.texts(3);              // 4 - 6
                                     f.lists(kValuePair, 2);  // 7, 8
                                     f.list(kDvdCast);        // 9
                                     f.texts(3);              // 10 - 12
                                     f.list(kValuePair);      // 13
                                     f.texts(3);              // 14 - 16
                                     f.number16();            // 17
                                     f.texts(3);              // 18 - 20
                                     f.numbers16(2);          // 21, 22
                                     f.texts();               // 23
                                     f.texts(3);              // 24 - 26
                                     f.lists(kDvdChapter, 2); // 27, 28
                                     f.number16();            // 29
                                     f.list(kValuePair);      // 30
                                     f.texts();               // 31
                                     f.list(kShortDvd);       // 32
                                     f.text();                // 33
                                     f.number16();            // 34
                                     f.texts(3);              // 35 - 37
                                 }};
constexpr RecordType kDvd = {"DVD", 2, [](FieldVisitor& f) {
                                 f.texts(3);
                                 f.number16();
                                 f.list(kDvdDisc);
                                 f.text();
                             }};

// Performers

constexpr RecordType kPerformer = {"Performer", 17, [](FieldVisitor& f) {
                                       f.number16();               // 0
                                       f.texts(5);                 // 1 - 5
                                       f.list(kValuePair);         // 6
                                       f.text();                   // 7
                                       f.texts();                  // 8
                                       f.texts(4);                 // 9 - 12
                                       f.list(kShortAlbum);        // 13
                                       f.texts();                  // 14
                                       f.lists(kValuePairYomi, 2); // 15, 16
                                       f.text();                   // 17
                                       f.lists(kValuePairYomi, 2); // 18, 19
                                       f.list(kValuePair);         // 20
                                       f.text();                   // 21
                                       f.number16();               // 22
                                       f.list(kShortDvd);          // 23
                                       f.number16();               // 24
                                       f.text();                   // 25
                                   }};

namespace {

bool onlyTheServerSends(const RecordType* type, size_t field) {
    if (type == &kTrack) return field == 12 || field == 13 || field == 17 || field == 18;
    return type == &kAlbum && field == 25;
}

struct FieldBytes {
    From sender;
    Bytes operator()(const std::string& text) const { return bytesOf(text); }
    Bytes operator()(uint16_t number) const { return shortBytes(number); }
    Bytes operator()(uint32_t number) const { return intBytes(number); }
    Bytes operator()(const std::vector<std::string>& texts) const {
        return texts.empty() ? Bytes() : textArray({texts.begin(), texts.end()});
    }
    Bytes operator()(const List& list) const {
        Fields blobs;
        for (const Record& element : list.elements) blobs.push_back(encode(element, sender));
        return blobs.empty() ? Bytes() : assemble(blobs);
    }
    Bytes operator()(const Part& part) const {
        return part.record.empty() ? Bytes() : encode(part.record.front(), sender);
    }
};

uint32_t wordAt(std::span<const uint8_t> bytes, size_t offset) {
    uint32_t word = 0;
    for (size_t i = 0; i < 4; ++i) word |= uint32_t{bytes[offset + i]} << (8 * i);
    return word;
}

size_t countOf(std::span<const uint8_t> blob) { return blob.empty() ? 0 : blob[0]; }

// The field's bytes; nothing when it cannot be found. An index equal to the count is good: it starts where the last
// field ends.
std::optional<std::span<const uint8_t>> locate(std::span<const uint8_t> blob, size_t index) {
    if (countOf(blob) == 0 || index > countOf(blob)) return std::nullopt;
    const size_t entry = 1 + 4 * index;
    if (entry + 8 > blob.size()) return std::nullopt;
    const uint32_t start = wordAt(blob, entry);
    const uint32_t end = wordAt(blob, entry + 4);
    if (start == end) return blob.first(0);
    if (end < start || end > blob.size()) return std::nullopt;
    return blob.subspan(start, end - start);
}

std::string textOfBytes(std::span<const uint8_t> bytes) { return {bytes.begin(), bytes.end()}; }

// What all decoders of one reading share.
struct Reading {
    long failing = kNever;
    long allocations = 0;
    size_t keptBlocks = 0;
    bool allocate() { return allocations++ != failing; }
    bool lacksMemory() const { return failing != kNever && allocations > failing; }
};

// Reads field by field. After the first failure every field is blank.
class Decoder final : public FieldVisitor {
  public:
    Decoder(std::span<const uint8_t> blob, Reading& reading, bool isGood)
        : blob_(blob), reading_(reading), isGood_(isGood) {}

    // A record of a type, read from a blob.
    static Record read(const RecordType& type, std::span<const uint8_t> blob, Reading& reading, bool& isGood) {
        Decoder decoder(blob, reading, isGood);
        type.fields(decoder);
        isGood = decoder.isGood_;
        return {&type, std::move(decoder.values_)};
    }

    using FieldVisitor::texts;
    void text() override {
        const auto field = next();
        std::string value;
        if (field && !field->empty() && allocate(2)) value = textOfBytes(*field); // the object, the bytes
        values_.emplace_back(std::move(value));
    }
    void keptText() override {
        text();
        if (!std::get<std::string>(values_.back()).empty()) reading_.keptBlocks += 2;
    }
    void number16() override {
        const auto field = next();
        values_.emplace_back(field && field->size() == 2 ? static_cast<uint16_t>((*field)[0] | (*field)[1] << 8)
                                                         : uint16_t{0});
    }
    void exactNumber16() override {
        const auto field = isGood_ ? locate(blob_, values_.size()) : std::nullopt;
        if (!field || field->size() != 2) isGood_ = false;
        number16();
    }
    void number32() override {
        const auto field = next();
        values_.emplace_back(field && field->size() == 4 ? wordAt(*field, 0) : uint32_t{0});
    }
    void texts() override {
        const auto field = next();
        std::vector<std::string> texts;
        if (field && countOf(*field) != 0 && allocate(1)) {
            for (size_t j = 0; j < countOf(*field); ++j) {
                const auto element = isGood_ ? locate(*field, j) : std::nullopt;
                if (!element) isGood_ = false;
                texts.push_back(element && allocate(1) ? textOfBytes(*element) : ""); // also an empty one has bytes
            }
        }
        values_.emplace_back(std::move(texts));
    }
    void list(const RecordType& element) override {
        const auto field = next();
        List list;
        if (field && countOf(*field) != 0 && allocate(1)) {
            for (size_t j = 0; j < countOf(*field); ++j) {
                const auto blob = isGood_ ? locate(*field, j) : std::nullopt;
                if (!blob) isGood_ = false;
                list.elements.push_back(read(element, blob.value_or(blob_.first(0)), reading_, isGood_));
            }
        }
        values_.emplace_back(std::move(list));
    }
    void part(const RecordType& type, Unreadable rule) override {
        const auto field = next();
        Part part;
        if (field && !field->empty()) {
            const bool isForgiven = rule == Unreadable::kIsForgiven || rule == Unreadable::kIsLeftOut;
            const bool isWhole = rule == Unreadable::kFailsGone || rule == Unreadable::kIsLeftOut;
            bool isGood = (!isWhole || countOf(*field) >= type.leastFields) && reading_.allocate();
            if (isGood) part.record.push_back(read(type, *field, reading_, isGood));
            if (isWhole && !isGood) part.record.clear();
            // What is forgiven is what it holds, not that there is no room for it.
            if (!isGood && (!isForgiven || reading_.lacksMemory())) isGood_ = false;
        }
        values_.emplace_back(std::move(part));
    }
    void exactCount(size_t count) override {
        if (countOf(blob_) != count) isGood_ = false;
    }

  private:
    // The next field's bytes; nothing, and a failure, when there are none.
    std::optional<std::span<const uint8_t>> next() {
        if (!isGood_) return std::nullopt;
        const auto field = locate(blob_, values_.size());
        if (!field) isGood_ = false;
        return field;
    }
    bool allocate(int blocks) {
        for (int i = 0; i < blocks && isGood_; ++i) isGood_ = reading_.allocate();
        return isGood_;
    }

    std::span<const uint8_t> blob_;
    Reading& reading_;
    bool isGood_;
    std::vector<Value> values_;
};

class RandomFields final : public FieldVisitor {
  public:
    RandomFields(std::mt19937& random, size_t& valuesLeft) : random_(random), valuesLeft_(valuesLeft) {}

    static Record make(const RecordType& type, std::mt19937& random, size_t& valuesLeft) {
        RandomFields fields(random, valuesLeft);
        type.fields(fields);
        valuesLeft -= std::min(valuesLeft, fields.values_.size());
        return {&type, std::move(fields.values_)};
    }

    using FieldVisitor::texts;
    void text() override { values_.emplace_back(randomText()); }
    void keptText() override { text(); }
    void number16() override { values_.emplace_back(static_cast<uint16_t>(random_())); }
    void exactNumber16() override { number16(); }
    void number32() override { values_.emplace_back(static_cast<uint32_t>(random_())); }
    void texts() override {
        std::vector<std::string> texts(count(1));
        for (std::string& text : texts) text = randomText();
        values_.emplace_back(std::move(texts));
    }
    void list(const RecordType& element) override {
        List list;
        for (size_t left = count(12); left != 0; --left) {
            list.elements.push_back(make(element, random_, valuesLeft_));
        }
        values_.emplace_back(std::move(list));
    }
    void part(const RecordType& type, Unreadable /*rule*/) override {
        Part part;
        if (below(3) != 0 && valuesLeft_ != 0) part.record.push_back(make(type, random_, valuesLeft_));
        values_.emplace_back(std::move(part));
    }
    void exactCount(size_t /*count*/) override {}

  private:
    size_t below(size_t limit) { return random_() % limit; }

    std::string randomText() {
        size_t length = 0;
        if (below(3) != 0) length = below(24);
        if (below(300) == 0) length = below(70000); // beyond what 16 bits count
        std::string text(length, '\0');
        for (char& c : text) c = static_cast<char>(random_());
        return text;
    }
    // Elements of an array: often none, at times as many as there can be.
    size_t count(size_t valuesOfEach) {
        static constexpr size_t kCounts[] = {0, 0, 1, 1, 2, 3, 7, 254, 255};
        const size_t count = kCounts[below(std::size(kCounts))];
        if (count * valuesOfEach > valuesLeft_) return 0;
        valuesLeft_ -= count; // so that the lists of the elements are not all as long
        return count;
    }

    std::mt19937& random_;
    size_t& valuesLeft_;
    std::vector<Value> values_;
};

std::string shown(const std::string& text) {
    return std::to_string(text.size()) + " bytes \"" + text.substr(0, 40) + "\"";
}

struct Differ {
    std::string operator()(const std::string& a, const std::string& b) const {
        return a == b ? "" : ": " + shown(a) + ", " + shown(b);
    }
    template <class Number>
    std::string operator()(Number a, Number b) const {
        return a == b ? "" : ": " + std::to_string(a) + ", " + std::to_string(b);
    }
    std::string operator()(const std::vector<std::string>& a, const std::vector<std::string>& b) const {
        return ofAll(a, b, *this);
    }
    std::string operator()(const List& a, const List& b) const { return ofAll(a.elements, b.elements, difference); }
    std::string operator()(const Part& a, const Part& b) const { return ofAll(a.record, b.record, difference); }
    template <class A, class B>
    std::string operator()(const A&, const B&) const {
        return ": values of different kinds";
    }

  private:
    template <class Elements, class Compare>
    static std::string ofAll(const Elements& a, const Elements& b, Compare compare) {
        if (a.size() != b.size()) return ": " + std::to_string(a.size()) + " or " + std::to_string(b.size());
        for (size_t i = 0; i < a.size(); ++i) {
            const std::string found = compare(a[i], b[i]);
            if (!found.empty()) return "[" + std::to_string(i) + "]" + found;
        }
        return "";
    }
};

} // namespace

Bytes encode(const Record& record, From sender) {
    Fields fields;
    for (size_t i = 0; i < record.fields.size(); ++i) {
        const bool isEmpty = sender == From::kClient && onlyTheServerSends(record.type, i);
        fields.push_back(isEmpty ? Bytes() : std::visit(FieldBytes{sender}, record.fields[i]));
    }
    return assemble(fields);
}

Record asSentByClient(Record record) {
    for (size_t i = 0; i < record.fields.size(); ++i) {
        Value& value = record.fields[i];
        if (onlyTheServerSends(record.type, i)) {
            value = std::visit([](const auto& old) -> Value { return std::decay_t<decltype(old)>(); }, value);
        } else if (auto* list = std::get_if<List>(&value)) {
            for (Record& element : list->elements) element = asSentByClient(std::move(element));
        } else if (auto* part = std::get_if<Part>(&value)) {
            for (Record& nested : part->record) nested = asSentByClient(std::move(nested));
        }
    }
    return record;
}

Decoded decode(const RecordType& type, std::span<const uint8_t> blob, long failing) {
    Reading reading{failing};
    bool isGood = reading.allocate();
    Decoded decoded;
    decoded.record = Decoder::read(type, blob, reading, isGood);
    decoded.isWhole = isGood;
    decoded.keptBlocks = reading.keptBlocks;
    decoded.allocations = reading.allocations;
    return decoded;
}

Decoded decodeNew(const RecordType& type, std::span<const uint8_t> blob, long failing) {
    if (countOf(blob) < type.leastFields) return {};
    return decode(type, blob, failing);
}

Record randomRecord(const RecordType& type, std::mt19937& random, size_t valueLimit) {
    return RandomFields::make(type, random, valueLimit);
}

std::string difference(const Record& a, const Record& b) {
    if (a.type != b.type) return std::string(": ") + a.type->name + ", " + b.type->name;
    if (a.fields.size() != b.fields.size()) return ": numbers of fields";
    for (size_t i = 0; i < a.fields.size(); ++i) {
        const std::string found = std::visit(Differ{}, a.fields[i], b.fields[i]);
        if (!found.empty()) return "." + std::to_string(i) + found;
    }
    return "";
}

} // namespace kvxtest::plain
