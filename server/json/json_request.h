// SPDX-License-Identifier: Apache-2.0
// A request of the JSON interface: as its header states it, and as it is once that has been found good.
#pragma once

#include "protocol/request_handler.h"
#include "json/media_type.h"
#include "json/wav_reader.h"

#include <cstdint>
#include <optional>
#include <string>

namespace tarn::server {

enum class JsonOperation { kRecognise, kTrack, kAlbum, kRecordings };

struct JsonHeader {
    JsonOperation operation = JsonOperation::kRecognise;
    std::string id;                  // in the path; of a track or an album
    std::optional<Parameters> query; // nothing: it has a % without two digits after it
    std::string authorization;       // values of the headers; empty: there is none
    std::string contentType;
};

struct JsonRequest {
    enum class Body { kNone, kWav, kPcm, kPacket };

    JsonOperation operation = JsonOperation::kRecognise;
    Body body = Body::kNone;
    Pcm pcm; // of audio; its bytes lie in the body
    std::optional<AdmittedRequest> packet;
    std::string id;
    std::string words; // to search for
    size_t limit = 0;  // of matches or recordings
    uint32_t after = 0;
    RequestReport report; // with the account, once it is known
};

} // namespace tarn::server
