// SPDX-License-Identifier: Apache-2.0
// The body of a request for recognition: a WAV file, or raw PCM with the parameters before it.
//
//   byte 0: 0 WAV; else PCM: a line with the media type, a line with the rate, one with the channels, then the samples
//
// Holds: a body is refused with a status of the known set, or its samples lie in it, at a rate and with channels that
// are taken; what is long enough gives six strings, the same when it is read again.
#include "fuzz_target.h"
#include "model/alphabet.h"
#include "support/guarded_bytes.h"
#include "support/handles.h"
#include "json/audio_query.h"
#include "json/json_handler.h"

#include <algorithm>
#include <string>

namespace {

using namespace tarn::server;

class Keeper : public Recogniser {
  public:
    FingerprintQuery last;
    Recognition recognise(const FingerprintQuery& query, size_t) override {
        last = query;
        return {};
    }
    std::vector<Match> lookUp(const std::string&, size_t) override { return {}; }
    std::optional<uint32_t> browse(uint32_t, uint32_t, const std::function<bool(const Match&)>&) override {
        return std::nullopt;
    }
    uint64_t recordingCount() override { return 0; }
};

std::string takeLine(std::string_view& text) {
    const size_t end = text.find('\n');
    const std::string line(text.substr(0, end));
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    return line;
}

// Silence before and after makes short samples long enough to be coded.
std::string lengthened(const std::string& samples) {
    static const std::string silence(size_t{2} * 2 * 11025 * 4, '\0');
    return silence + samples + silence;
}

int ask(const JsonHeader& header, std::string_view body, Keeper& keeper) {
    static const RequestHandler packets([](uint32_t) { return std::optional(kvxtest::accessCode(3, 3)); },
                                        [](uint32_t, const std::string&) { return std::nullopt; }, keeper);
    const JsonHandler json(packets, keeper);
    auto opened = json.open(header);
    if (const auto* reply = std::get_if<Reply>(&opened)) {
        REQUIRE(reply->status == 400 || reply->status == 415);
        return reply->status;
    }
    auto& request = std::get<JsonRequest>(opened);
    if (const auto reply = json.take(request, body)) {
        REQUIRE(reply->status == 400 || reply->status == 422);
        return reply->status;
    }
    const Pcm& pcm = request.pcm;
    REQUIRE(pcm.rateHz >= kMinRateHz && pcm.rateHz <= kMaxRateHz && pcm.channels >= 1 && pcm.channels <= kMaxChannels);
    REQUIRE(pcm.bytes.data() >= body.data() && pcm.bytes.data() + pcm.bytes.size() <= body.data() + body.size());
    REQUIRE(json.answer(std::move(request)).status == 200);
    for (const std::string& code : keeper.last.codes) REQUIRE(std::ranges::all_of(code, isLetter));
    return 200;
}

} // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0) return 0;
    static Keeper keeper;
    std::string_view rest(reinterpret_cast<const char*>(data) + 1, size - 1);
    JsonHeader header;
    header.authorization = "Bearer " + kvxtest::accessCode(3, 3);
    header.contentType = "audio/wav";
    header.query.emplace();
    std::string body(rest);
    if (data[0] != 0) {
        header.contentType = takeLine(rest);
        const std::string rate = takeLine(rest);
        const std::string channels = takeLine(rest);
        if (!rate.empty()) header.query->emplace_back("rate", rate);
        if (!channels.empty()) header.query->emplace_back("channels", channels);
        body = data[0] == 1 ? std::string(rest) : lengthened(std::string(rest));
    }
    const kvxtest::GuardedBytes guarded(std::span(reinterpret_cast<const uint8_t*>(body.data()), body.size()));
    const std::string_view view(reinterpret_cast<const char*>(guarded.data()), guarded.size());
    const int status = ask(header, view, keeper);
    const FingerprintQuery first = keeper.last;
    REQUIRE(ask(header, view, keeper) == status);
    REQUIRE(keeper.last.codes == first.codes);
    return 0;
}
