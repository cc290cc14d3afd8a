// SPDX-License-Identifier: Apache-2.0
// Requests of the JSON interface as bytes.
#pragma once

#include "support/raw_client.h"
#include "support/wav_maker.h"

#include <string>

namespace kvxtest {

inline std::string bearer(const std::string& code) { return "Authorization: Bearer " + code + "\r\n"; }

// headers: each with its line's end.
inline std::string jsonRequest(const std::string& method, const std::string& target, const std::string& headers = {}) {
    return method + " " + target + " HTTP/1.1\r\nHost: localhost\r\n" + headers + "\r\n";
}

inline std::string recogniseRequest(const std::string& body, const std::string& headers,
                                    const std::string& type = "audio/wav", const std::string& query = {}) {
    return jsonRequest("POST", "/v1/recognise" + query,
                       headers + "Content-Type: " + type + "\r\nContent-Length: " + std::to_string(body.size()) +
                           "\r\n") +
           body;
}

inline std::string wavText(const WavOptions& options = {}) { return textOf(wavFile(options)); }
// Without the canonical header: samples, low byte first.
inline std::string pcmText(const WavOptions& options = {}) { return wavText(options).substr(44); }

} // namespace kvxtest
