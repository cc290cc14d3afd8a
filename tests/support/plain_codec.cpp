// SPDX-License-Identifier: Apache-2.0
// Records to bytes and back.
#include "support/plain_codec.h"

#include "support/blob_assembler.h"

#include <optional>
#include <utility>

namespace kvxtest::plain {

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

} // namespace kvxtest::plain
