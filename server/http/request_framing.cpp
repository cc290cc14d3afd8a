// SPDX-License-Identifier: Apache-2.0
#include "http/request_framing.h"

#include <algorithm>
#include <cstring>
#include <microhttpd.h>
#include <string_view>
#include <strings.h>

namespace tarn::server {

namespace {

constexpr std::string_view kLength = MHD_HTTP_HEADER_CONTENT_LENGTH;
constexpr std::string_view kEncoding = MHD_HTTP_HEADER_TRANSFER_ENCODING;

struct Framing {
    int lengths = 0;
    int encodings = 0;
    int hosts = 0;
    bool namesAreClean = true;
    bool valuesAreClean = true;
    bool lengthIsNumber = true;
    bool encodingIsChunked = true;
};

bool isDigit(char c) { return c >= '0' && c <= '9'; }

bool isNumber(std::string_view text) { return !text.empty() && std::all_of(text.begin(), text.end(), isDigit); }

bool same(std::string_view a, std::string_view b) {
    return a.size() == b.size() && strncasecmp(a.data(), b.data(), a.size()) == 0;
}

// The library leaves a blank before the colon in the name, and appends a folded line to the name of the line above.
bool isCleanName(std::string_view name) {
    constexpr std::string_view kMarks = "!#$%&'*+-.^_`|~";
    const bool isToken = !name.empty() && std::all_of(name.begin(), name.end(), [&](char c) {
        return isDigit(c) || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || kMarks.find(c) != kMarks.npos;
    });
    const auto extends = [&](std::string_view known) {
        return name.size() > known.size() && same(name.substr(0, known.size()), known);
    };
    return isToken && !extends(kLength) && !extends(kEncoding);
}

// To some a carriage return alone ends the line, to others it does not.
bool isCleanValue(std::string_view value) {
    return std::all_of(value.begin(), value.end(),
                       [](char c) { return (static_cast<unsigned char>(c) >= ' ' && c != 127) || c == '\t'; });
}

MHD_Result look(void* into, MHD_ValueKind, const char* nameBytes, size_t nameSize, const char* valueBytes,
                size_t valueSize) {
    auto& framing = *static_cast<Framing*>(into);
    const std::string_view name(nameBytes, nameSize);
    const std::string_view value = valueBytes == nullptr ? std::string_view() : std::string_view(valueBytes, valueSize);
    framing.namesAreClean = framing.namesAreClean && isCleanName(name);
    framing.valuesAreClean = framing.valuesAreClean && isCleanValue(value);
    if (same(name, kLength)) {
        ++framing.lengths;
        framing.lengthIsNumber = isNumber(value);
    } else if (same(name, kEncoding)) {
        ++framing.encodings;
        framing.encodingIsChunked = same(value, "chunked");
    } else if (same(name, MHD_HTTP_HEADER_HOST)) {
        ++framing.hosts;
    }
    return MHD_YES;
}

} // namespace

const char* framingFault(MHD_Connection* connection, const char* httpVersion) {
    Framing framing;
    MHD_get_connection_values_n(connection, MHD_HEADER_KIND, &look, &framing);
    if (!framing.namesAreClean) return "a header name is malformed";
    if (!framing.valuesAreClean) return "a header holds a control character";
    if (framing.lengths > 1) return "more than one Content-Length";
    if (framing.encodings > 1) return "more than one Transfer-Encoding";
    if (framing.lengths + framing.encodings > 1) return "both Content-Length and Transfer-Encoding";
    if (!framing.lengthIsNumber) return "Content-Length is not a number";
    if (!framing.encodingIsChunked) return "Transfer-Encoding is not chunked";
    if (framing.encodings > 0 && std::strcmp(httpVersion, MHD_HTTP_VERSION_1_1) != 0)
        return "Transfer-Encoding in HTTP/1.0";
    if (framing.hosts > 1) return "more than one Host";
    return nullptr;
}

} // namespace tarn::server
