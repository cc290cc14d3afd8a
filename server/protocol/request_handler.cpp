// SPDX-License-Identifier: Apache-2.0
#include "protocol/request_handler.h"

#include "base/hexadecimal.h"
#include "model/access_code.h"
#include "protocol/answer_writer.h"
#include "protocol/match_answer.h"
#include "protocol/match_place.h"
#include "protocol/packet_reader.h"
#include "protocol/record_filter.h"
#include "protocol/signature.h"
#include "protocol/stopwatch.h"

#include <algorithm>
#include <new>
#include <set>

namespace tarn::server {

namespace {

// Recordings that an 'M' request may have read for it: reading costs the same whether the answer holds it or not.
constexpr size_t kMaxRead = 100;

// Letters and digits as they are, anything else as hexadecimal digits: a log line must not be shaped from outside.
std::string printable(std::initializer_list<char> characters) {
    const std::string text(characters.begin(), characters.end());
    const bool isPlain = std::all_of(text.begin(), text.end(), [](char c) {
        return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
    });
    return isPlain ? text : lowerHexadecimal(text);
}

// Costs what checking a known account's signature costs, so that the time of a refusal does not show which it was.
const std::string& decoyCode() {
    static const std::string code = makeAccessCode(0, 3, 3, std::string(kAccountKeyBytes, '\0'));
    return code;
}

RequestKind kindOf(const RequestPayload& payload) {
    constexpr RequestKind kKinds[] = {RequestKind::kFingerprint, RequestKind::kIdentity, RequestKind::kItems};
    return kKinds[payload.index()];
}

} // namespace

size_t RequestHandler::mostAnswers(uint16_t requestOption) {
    return requestOption == 0 ? kUsualAnswers : std::min<size_t>(requestOption, kMaxAnswers);
}

Reply RequestHandler::failure(RequestReport report, RequestOutcome outcome, const std::string& text,
                              const std::string& detail) {
    Reply reply;
    report.outcome = outcome;
    report.reason = detail.empty() ? text : detail;
    reply.status = httpStatus(outcome);
    reply.body = text + "\n";
    reply.closeConnection = true;
    reply.report = std::move(report);
    return reply;
}

std::variant<AdmittedRequest, Reply> RequestHandler::admit(std::span<const uint8_t> bytes) const {
    AdmittedRequest admitted;
    RequestReport& report = admitted.report;
    report.packetBytes = bytes.size();
    bool refused = false;
    try {
        const Stopwatch watch(report.verifying);
        const Packet packet = readPacket(bytes);
        const std::optional<std::string> code = accounts_(packet.accountId);
        const bool isSigned = isSignedWith(packet, code.value_or(decoyCode()));
        if (code && isSigned) {
            report.accountId = packet.accountId;
            report.language =
                printable({static_cast<char>(packet.languageCode >> 8), static_cast<char>(packet.languageCode & 0xff)});
            report.clientKind = printable({static_cast<char>(packet.clientKind)});
            report.requestOption = packet.requestOption;
            admitted.closeConnection = packet.responseFraming == 'H';
            admitted.payload = readPayload(packet.payload);
            report.kind = kindOf(admitted.payload);
        } else {
            refused = true;
        }
    } catch (const BadPacket& bad) {
        return failure(std::move(report), RequestOutcome::kBadPacket, std::string("bad packet: ") + bad.what());
    }
    if (refused) return failure(std::move(report), RequestOutcome::kRefused, "unknown account or bad signature");
    return admitted;
}

Reply RequestHandler::answer(AdmittedRequest request) const {
    RequestReport& report = request.report;
    try {
        Reply reply;
        if (const auto* fingerprint = std::get_if<FingerprintRequest>(&request.payload)) {
            answerFingerprint(*fingerprint, report, reply);
        } else if (const auto* identity = std::get_if<IdentityRequest>(&request.payload)) {
            reply.body = answerIdentity(*identity, report);
        } else {
            reply.body = answerItems(std::get<ItemsRequest>(request.payload), report);
        }
        report.outcome = report.answers > 0 ? RequestOutcome::kMatched : RequestOutcome::kNotFound;
        reply.closeConnection = request.closeConnection;
        reply.report = std::move(report);
        return reply;
    } catch (const Unavailable& error) {
        return failure(std::move(report), RequestOutcome::kUnavailable, "the catalogue is not available", error.what());
    } catch (const std::bad_alloc&) {
        return failure(std::move(report), RequestOutcome::kOverload, "the service is out of memory");
    } catch (const std::exception& error) {
        return failure(std::move(report), RequestOutcome::kFailed, "the request failed", error.what());
    }
}

Reply RequestHandler::handle(std::span<const uint8_t> packet) const {
    auto admitted = admit(packet);
    if (auto* reply = std::get_if<Reply>(&admitted)) return std::move(*reply);
    return answer(std::get<AdmittedRequest>(std::move(admitted)));
}

void RequestHandler::answerFingerprint(const FingerprintRequest& request, RequestReport& report, Reply& reply) const {
    const size_t most = mostAnswers(report.requestOption);
    Recognition recognition;
    {
        const Stopwatch watch(report.recognising);
        recognition = recogniser_.recognise(request.query, most);
    }
    const Stopwatch watch(report.writing);
    report.candidates = recognition.candidatesJudged;
    std::vector<Match>& matches = recognition.matches;
    if (matches.size() > most) matches.resize(most);
    report.answers = matches.size();
    if (!matches.empty()) {
        const Match& best = matches.front();
        report.best = {best.recordingId, best.confidence, best.offsetMs};
        reply.match = matchHeader(best);
    }
    reply.body = matchAnswer(matches, request.permissions);
}

std::string RequestHandler::answerIdentity(const IdentityRequest& request, RequestReport& report) const {
    const Stopwatch watch(report.writing);
    const std::optional<DeviceIdentity> identity = identities_(report.accountId.value(), request.presented);
    AnswerWriter answer;
    if (identity) {
        answer.add('G', blobOf({std::string(identity->begin(), identity->end())}));
        report.answers = 1;
    }
    return answer.take();
}

std::string RequestHandler::answerItems(const ItemsRequest& request, RequestReport& report) const {
    const size_t most = mostAnswers(report.requestOption);
    std::vector<std::string> records; // of different bytes: two tracks may share an album
    const auto add = [&](std::string record) {
        if (std::find(records.begin(), records.end(), record) == records.end()) records.push_back(std::move(record));
    };
    if (request.kind != 'A' && request.kind != 'T') return AnswerWriter().take(); // nothing has it
    std::set<std::string_view> looked;
    size_t budget = kMaxRead;
    for (const std::string& id : request.ids) {
        if (records.size() >= most || budget == 0) break;
        if (id.empty() || !looked.insert(id).second) continue;
        std::vector<Match> matches;
        {
            const Stopwatch watch(report.recognising);
            matches = recogniser_.lookUp(id, request.kind == 'A' ? 1 : std::min(most, budget));
        }
        budget -= std::min(budget, matches.size());
        const Stopwatch watch(report.writing);
        for (const Match& match : matches) {
            if (request.kind == 'T') {
                add(permittedTrack(match.trackBlob, request.permissions));
            } else if (!match.albumBlob.empty()) {
                add(permittedAlbum(match.albumBlob, request.permissions, match.confidence));
            }
        }
    }
    if (records.size() > most) records.resize(most);
    report.answers = records.size();
    AnswerWriter answer;
    for (const std::string& record : records) answer.add(static_cast<char>(request.kind), record);
    return answer.take();
}

} // namespace tarn::server
