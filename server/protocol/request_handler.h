// SPDX-License-Identifier: Apache-2.0
// One request, from its packet's bytes to the answer's. Two steps, so that only packets whose signature is good wait
// for a worker: admit() is quick and needs no catalogue, answer() asks it.
#pragma once

#include "model/device_identity.h"
#include "model/recogniser.h"
#include "protocol/payload_reader.h"
#include "protocol/request_report.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <variant>
#include <vector>

namespace tarn::server {

constexpr size_t kUsualAnswers = 10; // where a request states no bound
constexpr size_t kMaxAnswers = 100;

struct Reply {
    int status = 200;
    std::string body;
    std::string match;          // the header that says where the first match lies; empty: none
    const char* type = nullptr; // of the body; null: records where the status is 200, else text
    std::vector<std::pair<const char*, std::string>> headers = {}; // further ones
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
    // An identity for a device: the one it presents if it is known, else a new one; nothing if the account may have no
    // more.
    using IdentityGiver =
        std::function<std::optional<DeviceIdentity>(uint32_t accountId, const std::string& presented)>;

    RequestHandler(CodeFinder accounts, IdentityGiver identities, Recogniser& recogniser)
        : accounts_(std::move(accounts)), identities_(std::move(identities)), recogniser_(recogniser) {}

    // Framing, account, signature, and only then the payload.
    std::variant<AdmittedRequest, Reply> admit(std::span<const uint8_t> packet) const;
    Reply answer(AdmittedRequest request) const;
    const CodeFinder& accounts() const { return accounts_; }
    // Both steps.
    Reply handle(std::span<const uint8_t> packet) const;

    // The bound of answers that a request option states.
    static size_t mostAnswers(uint16_t requestOption);
    // A reply for a failure: text to the client; detail, where there is more to say, to the log alone.
    static Reply failure(RequestReport report, RequestOutcome outcome, const std::string& text,
                         const std::string& detail = {});

  private:
    void answerFingerprint(const FingerprintRequest& request, RequestReport& report, Reply& reply) const;
    std::string answerIdentity(const IdentityRequest& request, RequestReport& report) const;
    std::string answerItems(const ItemsRequest& request, RequestReport& report) const;

    CodeFinder accounts_;
    IdentityGiver identities_;
    Recogniser& recogniser_;
};

} // namespace tarn::server
