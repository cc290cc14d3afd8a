// SPDX-License-Identifier: Apache-2.0
// Random answers, good and damaged, in both framings: the library's parsing and reading against a second parser and
// the plain codec, which share no code with it.
#include "core/answer_readers.h"
#include "support/answers.h"
#include "support/counting_hooks.h"
#include "support/figures.h"
#include "support/guarded_bytes.h"
#include "support/handles.h"
#include "support/rounds.h"

#include <cstring>
#include <gtest/gtest.h>
#include <optional>

namespace kvxtest {
namespace {

const uint32_t kAnswers = rounds(4000);

// A second parser of answers

struct PlainRecord {
    char type;
    Bytes blob;
};

// Nothing for a body that is not an exact sequence of records.
std::optional<std::vector<PlainRecord>> recordsOf(std::string body) {
    std::vector<PlainRecord> records;
    if (body.empty()) return std::nullopt;
    while (!body.empty()) {
        if (body.size() < 5) return std::nullopt;
        size_t length = 0;
        for (size_t i = 4; i >= 1; --i) length = length * 256 + static_cast<uint8_t>(body[i]);
        if (length == 0 || length > body.size() - 5) return std::nullopt;
        records.push_back({body[0], bytesOf(body.substr(5, length))});
        body.erase(0, 5 + length);
    }
    return records;
}

std::optional<std::vector<PlainRecord>> answerOf(const std::string& bytes, char framing) {
    if (framing != 'H') return recordsOf(bytes);
    const size_t blankLine = bytes.find("\r\n\r\n");
    if (bytes.size() < 17 || blankLine == std::string::npos) return std::nullopt;
    return recordsOf(bytes.substr(blankLine + 4));
}

// Random answers

Bytes randomBlob(char type, std::mt19937& random) {
    const auto reader = kAnswerReaders.find(type);
    if (reader != kAnswerReaders.end() && random() % 4 != 0) {
        return plain::encode(plain::randomRecord(*reader->second.type, random, 20), plain::From::kServer);
    }
    Bytes bytes(1 + random() % 30);
    for (uint8_t& byte : bytes) byte = static_cast<uint8_t>(random());
    return bytes;
}

std::string randomAnswer(char framing, std::mt19937& random) {
    std::string bytes;
    if (framing == 'H') {
        bytes = random() % 4 == 0 ? "HTTP" : "HTTP/1.1 200 OK\r\nServer: a\r\n\r";
        bytes.append(random() % 20, 'x').append("\r\n\r\n");
    }
    for (size_t left = random() % 6; left != 0; --left) {
        const auto type = random() % 8 == 0 ? static_cast<char>(random()) : "TAKDGNPOE"[random() % 9];
        bytes += textOf(record(type, randomBlob(type, random)));
    }
    return bytes;
}

void damage(std::string& bytes, std::mt19937& random) {
    if (bytes.empty()) return;
    const size_t where = random() % bytes.size();
    switch (random() % 4) {
    case 0:
        bytes[where] = static_cast<char>(random());
        break;
    case 1:
        bytes[where] = static_cast<char>(bytes[where] + 1);
        break;
    case 2:
        bytes.resize(where);
        break;
    default:
        bytes.insert(where, 1 + random() % 6, static_cast<char>(random() % 3));
        break;
    }
}

// What each type's reader says of record number.
void compareReaders(KVXHandle* handle, int32_t number, const std::vector<PlainRecord>& records) {
    const bool isThere = number >= 1 && number <= static_cast<int32_t>(records.size());
    for (const auto& [type, reader] : kAnswerReaders) {
        SCOPED_TRACE(type);
        const CountingHooks hooks;
        plain::Decoded expected;
        int32_t status = -4;
        if (isThere) {
            const PlainRecord& record = records[static_cast<size_t>(number) - 1];
            status = -5;
            if (record.type == type) {
                expected = plain::decodeNew(*reader.type, record.blob);
                status = expected.isWhole ? 0 : -1;
            }
        }
        const Loaded loaded = reader.read(handle, number);
        ASSERT_EQ(loaded.status, status);
        if (loaded.record) {
            ASSERT_EQ(plain::difference(*loaded.record, expected.record), "");
        }
        ASSERT_EQ(hooks.live(), expected.keptBlocks);
        ASSERT_EQ(hooks.strayFrees(), 0);
    }
}

void compareTypes(KVXHandle* handle, int32_t number, const std::vector<PlainRecord>& records) {
    const auto count = static_cast<int32_t>(records.size());
    int32_t expected = -1;
    if (count != 0 && number <= count) {
        const char type = records[static_cast<size_t>(std::max(number, 1)) - 1].type;
        if (type != 0 && std::strchr("TAKDGNPOE", type) != nullptr) expected = static_cast<uint8_t>(type);
    }
    ASSERT_EQ(KVXGetResponseType(handle, number), expected);
}

TEST(BothParsers, AgreeOnRandomAnswers) {
    size_t taken = 0;
    size_t refused = 0;
    size_t recordsRead = 0;
    for (const char framing : {'B', 'H'}) {
        const auto handle = makeHandle({.responseFraming = framing});
        for (uint32_t seed = 0; seed < kAnswers; ++seed) {
            SCOPED_TRACE(std::string(1, framing) + ", seed " + std::to_string(seed));
            std::mt19937 random(seed);
            std::string answer = randomAnswer(framing, random);
            for (size_t damages = seed % 3; damages != 0; --damages) damage(answer, random);
            const auto expected = answerOf(answer, framing);
            const GuardedBytes body(bytesOf(answer));
            int32_t count = 77;
            const int32_t status =
                KVXParseServerResponse(handle.get(), body.data(), static_cast<int32_t>(body.size()), &count);
            ASSERT_EQ(status, expected ? 0 : -1);
            const std::vector<PlainRecord> records = expected.value_or(std::vector<PlainRecord>());
            ASSERT_EQ(count, expected ? static_cast<int32_t>(records.size()) : 77);
            ++(expected ? taken : refused);
            recordsRead += records.size();
            // Every number, and those beside them, in no order.
            std::vector<int32_t> numbers;
            for (int32_t n = -1; n <= static_cast<int32_t>(records.size()) + 1; ++n) numbers.push_back(n);
            for (size_t i = numbers.size(); i > 1; --i) std::swap(numbers[i - 1], numbers[random() % i]);
            for (const int32_t number : numbers) {
                SCOPED_TRACE(number);
                compareTypes(handle.get(), number, records);
                compareReaders(handle.get(), number, records);
                if (HasFatalFailure()) return;
            }
        }
    }
    recordFigure("answers that both take", taken);
    recordFigure("answers that both refuse", refused);
    recordFigure("records in them", recordsRead);
    EXPECT_EQ(taken + refused, 2 * kAnswers);
    EXPECT_GT(taken, refused / 10);
    EXPECT_GT(refused, taken / 10);
}

} // namespace
} // namespace kvxtest
