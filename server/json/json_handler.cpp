// SPDX-License-Identifier: Apache-2.0
#include "json/json_handler.h"

#include "base/text.h"
#include "protocol/stopwatch.h"
#include "json/audio_query.h"
#include "json/bearer.h"
#include "json/parameter_reader.h"
#include "json/problem.h"
#include "json/recording_members.h"
#include "json/recording_search.h"

#include <algorithm>
#include <limits>
#include <new>

namespace tarn::server {

namespace {

constexpr size_t kUsualListed = 20;
constexpr size_t kMaxListed = 100;
// Recordings that one request may have read: reading costs the same whether the answer holds it or not.
constexpr uint32_t kMaxLookedAt = 2000;
constexpr size_t kMaxAlbumTracks = 200;

constexpr const char* kPacketType = "application/x-kvx-packet";

// What the body of a media type is; kNone: it is not taken.
JsonRequest::Body bodyOf(std::string_view mediaType) {
    using Body = JsonRequest::Body;
    constexpr std::pair<std::string_view, Body> kBodies[] = {
        {"audio/wav", Body::kWav},      {"audio/wave", Body::kWav}, {"audio/x-wav", Body::kWav},
        {"audio/vnd.wave", Body::kWav}, {"audio/l16", Body::kPcm},  {"application/octet-stream", Body::kPcm},
        {kPacketType, Body::kPacket}};
    for (const auto& [name, body] : kBodies) {
        if (name == mediaType) return body;
    }
    return Body::kNone;
}

Pcm readPcm(const ParameterReader& parameters) {
    Pcm pcm;
    const auto rate = parameters.number("rate", kMinRateHz, kMaxRateHz);
    if (!rate)
        throw BadJsonRequest(400, "the parameter rate is missing; give the samples of a second, as in rate=44100");
    pcm.rateHz = *rate;
    pcm.channels = parameters.number("channels", 1, kMaxChannels).value_or(1);
    return pcm;
}

// The media type of raw PCM says how to read it; where that says nothing, the query does.
void readRecogniseHeader(const MediaType& type, const Parameters& query, JsonRequest& request) {
    if (request.body == JsonRequest::Body::kPacket) {
        const ParameterReader none(query, {}); // the packet states its bound itself
        return;
    }
    const bool isL16 = type.name == "audio/l16";
    if (request.body == JsonRequest::Body::kPcm && !isL16) {
        const ParameterReader parameters(query, {"rate", "channels", "limit"});
        request.pcm = readPcm(parameters);
        request.limit = parameters.number("limit", 1, kMaxAnswers).value_or(kUsualAnswers);
        return;
    }
    const ParameterReader parameters(query, {"limit"});
    request.limit = parameters.number("limit", 1, kMaxAnswers).value_or(kUsualAnswers);
    if (!isL16) return;
    request.pcm = readPcm(ParameterReader(type.parameters, {"rate", "channels"}));
    request.pcm.bigEndian = true;
}

void readListHeader(const Parameters& query, JsonRequest& request) {
    const ParameterReader parameters(query, {"query", "after", "limit"});
    request.limit = parameters.number("limit", 1, kMaxListed).value_or(kUsualListed);
    request.after = parameters.number("after", 0, std::numeric_limits<uint32_t>::max()).value_or(0);
    const std::string* words = parameters.text("query");
    if (words == nullptr) return;
    if (words->size() > kMaxQueryBytes)
        throw BadJsonRequest(400, "the parameter query is longer than " + std::to_string(kMaxQueryBytes) + " bytes");
    if (!isUtf8(*words)) throw BadJsonRequest(400, "the parameter query is not UTF-8");
    request.words = *words;
}

BadJsonRequest nothingFound(const char* what) {
    return {404, std::string("there is no ") + what + " with this id in the catalogue"};
}

} // namespace

void JsonHandler::readHeader(const JsonHeader& header, JsonRequest& request) const {
    const MediaType type = readMediaType(header.contentType);
    if (request.operation == JsonOperation::kRecognise) request.body = bodyOf(type.name);
    if (request.body != JsonRequest::Body::kPacket) {
        request.report.accountId = accountOfBearer(header.authorization, packets_.accounts());
        if (!request.report.accountId) {
            throw BadJsonRequest(401, header.authorization.empty()
                                          ? "send the access code of an account: Authorization: Bearer CODE"
                                          : "unknown account or wrong access code");
        }
    }
    if (!header.query) throw BadJsonRequest(400, "the query has a % that two hexadecimal digits do not follow");
    switch (request.operation) {
    case JsonOperation::kRecognise:
        if (request.body == JsonRequest::Body::kNone) {
            throw BadJsonRequest(415,
                                 std::string("send audio/wav, audio/L16, application/octet-stream or ") + kPacketType);
        }
        return readRecogniseHeader(type, *header.query, request);
    case JsonOperation::kRecordings:
        return readListHeader(*header.query, request);
    case JsonOperation::kTrack:
    case JsonOperation::kAlbum:
        const ParameterReader none(*header.query, {});
        request.id = header.id;
    }
}

std::variant<JsonRequest, Reply> JsonHandler::open(const JsonHeader& header) const {
    JsonRequest request;
    request.operation = header.operation;
    RequestReport& report = request.report;
    report.kind =
        header.operation == JsonOperation::kRecognise ? RequestKind::kJsonRecognise : RequestKind::kJsonBrowse;
    try {
        const Stopwatch watch(report.verifying);
        readHeader(header, request);
        return request;
    } catch (const BadJsonRequest& bad) {
        const auto outcome = bad.status() == 401 ? RequestOutcome::kRefused : RequestOutcome::kBadRequest;
        return problem(std::move(report), outcome, bad.status(), bad.what());
    }
}

std::optional<Reply> JsonHandler::take(JsonRequest& request, std::string_view body) const {
    RequestReport& report = request.report;
    report.packetBytes = body.size();
    try {
        if (request.body == JsonRequest::Body::kPacket) {
            auto admitted = packets_.admit({reinterpret_cast<const uint8_t*>(body.data()), body.size()});
            if (auto* reply = std::get_if<Reply>(&admitted)) {
                reply->report.kind = RequestKind::kJsonRecognise;
                return problemOf(std::move(*reply));
            }
            request.packet = std::get<AdmittedRequest>(std::move(admitted));
            report = request.packet->report;
            report.kind = RequestKind::kJsonRecognise;
            request.limit = RequestHandler::mostAnswers(report.requestOption);
            if (!std::holds_alternative<FingerprintRequest>(request.packet->payload))
                throw BadJsonRequest(422, "the packet asks for no recognition; send a packet with a fingerprint");
            return std::nullopt;
        }
        const Stopwatch watch(report.verifying);
        if (request.body == JsonRequest::Body::kWav) request.pcm = readWav(body);
        if (request.body == JsonRequest::Body::kPcm) request.pcm.bytes = body;
        if (request.body != JsonRequest::Body::kNone) expectFitDuration(request.pcm);
        return std::nullopt;
    } catch (const BadJsonRequest& bad) {
        return problem(std::move(report), RequestOutcome::kBadRequest, bad.status(), bad.what());
    }
}

Reply JsonHandler::answer(JsonRequest request) const {
    RequestReport report = std::move(request.report);
    try {
        Reply reply;
        switch (request.operation) {
        case JsonOperation::kRecognise:
            reply.body = recognised(request, report);
            break;
        case JsonOperation::kTrack:
            reply.body = track(request, report);
            break;
        case JsonOperation::kAlbum:
            reply.body = album(request, report);
            break;
        case JsonOperation::kRecordings:
            reply.body = recordings(request, report);
        }
        reply.body += '\n';
        reply.type = kJsonType;
        report.outcome = report.answers > 0 ? RequestOutcome::kMatched : RequestOutcome::kNotFound;
        reply.report = std::move(report);
        return reply;
    } catch (const BadJsonRequest& bad) {
        const auto outcome = bad.status() == 404 ? RequestOutcome::kNotFound : RequestOutcome::kBadRequest;
        return problem(std::move(report), outcome, bad.status(), bad.what());
    } catch (const Unavailable& error) {
        return problem(std::move(report), RequestOutcome::kUnavailable, 503, "the catalogue is not available",
                       error.what());
    } catch (const std::bad_alloc&) {
        return problem(std::move(report), RequestOutcome::kOverload, 503, "the service is out of memory");
    } catch (const std::exception& error) {
        return problem(std::move(report), RequestOutcome::kFailed, 500, "the request failed", error.what());
    }
}

std::string JsonHandler::recognised(const JsonRequest& request, RequestReport& report) const {
    Recognition recognition;
    {
        const Stopwatch watch(report.recognising);
        const FingerprintQuery query =
            request.packet ? std::get<FingerprintRequest>(request.packet->payload).query : queryOf(request.pcm);
        recognition = recogniser_.recognise(query, request.limit);
    }
    const Stopwatch watch(report.writing);
    report.candidates = recognition.candidatesJudged;
    std::vector<Match>& matches = recognition.matches;
    if (matches.size() > request.limit) matches.resize(request.limit);
    report.answers = matches.size();
    if (!matches.empty())
        report.best = {matches.front().recordingId, matches.front().confidence, matches.front().offsetMs};
    Json list = Json::array();
    for (const Match& match : matches) list.push_back(matchMembers(match));
    return lineOf({{"matches", std::move(list)}});
}

std::string JsonHandler::track(const JsonRequest& request, RequestReport& report) const {
    std::vector<Match> found;
    {
        const Stopwatch watch(report.recognising);
        found = recogniser_.lookUp(request.id, 1);
    }
    // The look-up takes the ids of albums, too.
    if (found.empty() || found.front().trackId != request.id) throw nothingFound("track");
    const Stopwatch watch(report.writing);
    report.answers = 1;
    return lineOf(recordingMembers(found.front()));
}

std::string JsonHandler::album(const JsonRequest& request, RequestReport& report) const {
    std::vector<Match> found;
    {
        const Stopwatch watch(report.recognising);
        found = recogniser_.lookUp(request.id, kMaxAlbumTracks);
    }
    if (request.id.empty() || found.empty() || found.front().albumId != request.id) throw nothingFound("album");
    const Stopwatch watch(report.writing);
    report.answers = found.size();
    return lineOf(albumMembers(std::move(found)));
}

std::string JsonHandler::recordings(const JsonRequest& request, RequestReport& report) const {
    const auto end = std::chrono::steady_clock::now() + searchTime_;
    const RecordingSearch search(request.words);
    Json list = Json::array();
    std::optional<uint32_t> goOnAfter;
    {
        const Stopwatch watch(report.recognising);
        goOnAfter = recogniser_.browse(request.after, kMaxLookedAt, [&](const Match& recording) {
            if (search.means(recording)) list.push_back(recordingMembers(recording));
            return list.size() < request.limit && std::chrono::steady_clock::now() < end;
        });
    }
    const Stopwatch watch(report.writing);
    report.answers = list.size();
    Json json = {{"recordings", std::move(list)}};
    if (goOnAfter) json["next_after"] = *goOnAfter;
    return lineOf(json);
}

} // namespace tarn::server
