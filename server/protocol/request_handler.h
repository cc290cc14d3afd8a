// SPDX-License-Identifier: Apache-2.0
// One request, from its packet's bytes to the answer's. Two steps, so that only packets whose signature is good wait
// for a worker: admit() is quick and needs no catalogue, answer() asks it.
#pragma once

#include "model/device_identity.h"
#include "model/recogniser.h"
#include "protocol/payload_reader.h"

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <variant>

namespace tarn::server {

enum class Outcome {
    kMatched,     // 200
    kNotFound,    // 200
    kBadPacket,   // 400
    kRefused,     // 403: unknown account or bad signature, which are told apart nowhere
    kTooLarge,    // 413
    kFailed,      // 500
    kOverload,    // 503: too many requests wait
    kUnavailable, // 503: the catalogue cannot be asked
};
constexpr size_t kOutcomes = 8;
const char* outcomeName(Outcome outcome);
int httpStatus(Outcome outcome);

enum class RequestKind { kUnknown, kFingerprint, kIdentity, kItems };
constexpr size_t kRequestKinds = 4;
const char* kindName(RequestKind kind);

// What is told about a request in the log and the metrics. Nothing in it is secret, and nothing names a device.
struct RequestReport {
    RequestKind kind = RequestKind::kUnknown;
    Outcome outcome = Outcome::kFailed;
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
    std::optional<Best> best; // match of a fingerprint
    std::optional<uint32_t> candidates;
    std::chrono::nanoseconds verifying{0};
    std::chrono::nanoseconds recognising{0};
    std::chrono::nanoseconds writing{0};
};

struct Reply {
    int status = 200;
    std::string body;
    // The client takes everything up to the end of the connection for the answer, or may do so: a failure always ends
    // it.
    bool closeConnection = false;
    RequestReport report;
};

// A request whose signature is good and whose payload has been read.
struct AdmittedRequest {
    RequestPayload payload;
    bool closeConnection = false;
    RequestReport report;
};

class RequestHandler {
  public:
    // The access code of an account, or nothing.
    using CodeFinder = std::function<std::optional<std::string>(uint32_t accountId)>;
    // An identity for a device: the one it presents if it is known, else a new one; nothing if there is none to give.
    using IdentityGiver =
        std::function<std::optional<DeviceIdentity>(uint32_t accountId, const std::string& presented)>;

    RequestHandler(CodeFinder accounts, IdentityGiver identities, Recogniser& recogniser)
        : accounts_(std::move(accounts)), identities_(std::move(identities)), recogniser_(recogniser) {}

    // Framing, account, signature, and only then the payload.
    std::variant<AdmittedRequest, Reply> admit(std::span<const uint8_t> packet) const;
    Reply answer(AdmittedRequest request) const;
    // Both steps.
    Reply handle(std::span<const uint8_t> packet) const;

    // A reply that tells a failure: text to the client; detail, where there is more to say, to the log alone.
    static Reply failure(RequestReport report, Outcome outcome, const std::string& text,
                         const std::string& detail = {});

  private:
    std::string answerFingerprint(const FingerprintRequest& request, RequestReport& report) const;
    std::string answerIdentity(const IdentityRequest& request, RequestReport& report) const;
    std::string answerItems(const ItemsRequest& request, RequestReport& report) const;

    CodeFinder accounts_;
    IdentityGiver identities_;
    Recogniser& recogniser_;
};

} // namespace tarn::server
