// SPDX-License-Identifier: Apache-2.0
// What the log and the metrics say about a request. Nothing in it is secret, and nothing names a device.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

namespace tarn::server {

enum class RequestOutcome {
    kMatched,
    kNotFound,
    kBadPacket,
    kBadRequest, // in JSON: of another media type, without what it needs, or audio that cannot be taken
    kRefused,    // unknown account or bad signature: no client learns which
    kTooLarge,
    kFailed,
    kOverload,    // too many requests wait, or memory is short
    kUnavailable, // the catalogue cannot be asked
};
constexpr size_t kRequestOutcomes = 9;
const char* outcomeName(RequestOutcome outcome);
int httpStatus(RequestOutcome outcome);

enum class RequestKind { kUnknown, kFingerprint, kIdentity, kItems, kJsonRecognise, kJsonBrowse };
constexpr size_t kRequestKinds = 6;
const char* kindName(RequestKind kind);

struct RequestReport {
    RequestKind kind = RequestKind::kUnknown;
    RequestOutcome outcome = RequestOutcome::kFailed;
    std::string reason;                // of a failure; words of ours, nothing from outside
    std::optional<uint32_t> accountId; // of a good signature only
    std::string language;              // two letters, or hexadecimal digits
    std::string clientKind;            // one character, or hexadecimal digits
    uint16_t requestOption = 0;
    size_t packetBytes = 0;
    size_t answers = 0;
    struct Best {
        uint32_t recordingId = 0;
        int confidence = 0;
        uint32_t offsetMs = 0;
    };
    std::optional<Best> best;           // match of a fingerprint
    std::optional<uint32_t> candidates; // judged for a fingerprint
    std::chrono::nanoseconds verifying{0};
    std::chrono::nanoseconds recognising{0};
    std::chrono::nanoseconds writing{0};
};

} // namespace tarn::server
