// SPDX-License-Identifier: Apache-2.0
#include "catalogue/lmdb/pieces.h"

#include "catalogue/lmdb/keys.h"
#include "catalogue/lmdb/sealed.h"

namespace tarn::server::lmdb {

namespace {

// Eight entries of a recording's pieces fill a page of 4096 bytes, with their heads, keys and seals.
constexpr size_t kFull = 484;
constexpr size_t kMaxPieces = 200;

std::string pieceKey(std::string_view key, size_t piece) {
    std::string named(kValueKeys);
    named += key;
    named.push_back(static_cast<char>(piece));
    return named;
}

// The pieces from one on.
void erasePieces(Transaction& writing, std::string_view key, size_t piece) {
    std::string_view bytes;
    for (; piece <= kMaxPieces; ++piece) {
        const std::string name = pieceKey(key, piece);
        if (!writing.get(name, bytes)) return;
        writing.erase(name);
    }
}

} // namespace

void putValue(Transaction& writing, std::string_view key, std::string_view value) {
    size_t piece = 0;
    const auto put = [&](std::string_view bytes) {
        const std::string name = pieceKey(key, piece++);
        writing.put(name, sealed(name, bytes));
    };
    if (value.size() < kMaxPieces * kFull) {
        for (; value.size() >= kFull; value.remove_prefix(kFull)) put(value.substr(0, kFull));
    }
    put(value);
    erasePieces(writing, key, piece); // of a longer value that was there
}

void eraseValue(Transaction& writing, std::string_view key) { erasePieces(writing, key, 0); }

StoredValue getValue(const Transaction& reading, std::string_view key, std::deque<std::string>& joined) {
    StoredValue value;
    std::string* whole = nullptr;
    for (size_t piece = 0; piece <= kMaxPieces; ++piece) {
        const std::string name = pieceKey(key, piece);
        std::string_view bytes;
        if (!reading.get(name, bytes)) {
            if (piece > 0) value.bytes = {}; // its end is lost
            return value;
        }
        value.state = StoredValue::State::kThere;
        value.bytes = {};
        if (!hasRightValue(bytes)) return value;
        bytes = valueOf(bytes);
        const bool last = bytes.size() != kFull;
        if (piece > 0) {
            value.bytes = whole->append(bytes);
        } else {
            value.bytes = last ? bytes : *(whole = &joined.emplace_back(bytes));
        }
        if (last) return value;
    }
    return value;
}

} // namespace tarn::server::lmdb
