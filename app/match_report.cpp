// SPDX-License-Identifier: Apache-2.0
#include "match_report.h"

#include "NSMutableURLRequest_MultipartFormRequest.h"
#include "error_text.h"

#include <new>
#include <string>
#include <utility>
#include <vector>

namespace tarn {
namespace {

constexpr int32_t kMaxAlbums = 1;

// Sends the album request and returns the body; without one, logs why and returns nothing.
std::optional<Bytes> requestAlbum(const NSMutableURLRequest_MultipartFormRequest& request, Services& services,
                                  ErrorSlot& error) {
    std::optional<HTTPURLResponse> response;
    auto body = services.urlLoading.sendSynchronousRequest(request, response, error);
    if (error) {
        services.log.write({"HTTP Error Looking Up Extra Meta Data ", codeAndDescription(*error)});
    } else if (!response) {
        services.log.write("No Metadata HTTP Response");
    } else if (response->statusCode != kHttpOk) {
        services.log.write({"Invalid Metadata HTTP Status Code ", std::to_string(response->statusCode)});
    } else if (!body || body->empty()) {
        services.log.write("Empty Metadata Response");
    } else {
        return body;
    }
    return std::nullopt;
}

// Makes the request for the track's album; if that fails, logs why and returns nothing.
std::optional<Bytes> albumLookup(TarnInterface& client, const std::string& trackId, Log& log, ErrorSlot& error) {
    auto lookup = client.createAlbumLookupRequest(trackId, kMaxAlbums, error);
    if (!lookup) log.write({"Error Looking Up Extra Meta Data ", codeAndDescription(*error)});
    return lookup;
}

// The name of the first album that the server has for the track.
std::optional<std::string> lookUpAlbum(TarnInterface& client, const std::optional<Url>& url, const std::string& trackId,
                                       Services& services, ErrorSlot& error) {
    NSMutableURLRequest_MultipartFormRequest request(url);
    {
        const auto lookup = albumLookup(client, trackId, services.log, error);
        if (!lookup) return std::nullopt;
        request.addFormData(*lookup, TarnInterface::getFormBoundary(), TarnInterface::getFormName());
    }
    const auto body = requestAlbum(request, services, error);
    if (!body) return std::nullopt;
    // An answer that cannot be parsed leaves the album out, and changes nothing else.
    auto albums = client.parseResponse(*body, error);
    if (!albums) return std::nullopt;
    for (auto& album : *albums) {
        if (album.albumName) return std::move(album.albumName);
    }
    return std::nullopt;
}

// Values are written exactly as received, without escaping, on purpose: the document may not be well-formed.
void addElement(TextPieces& text, const char* opening, const std::optional<std::string>& value, const char* closing) {
    if (!value) return;
    text.add(opening);
    text.add(*value);
    text.add(closing);
}

} // namespace

void writeMatchReport(TarnInterface& client, const std::optional<Url>& url, const MusicLookupResponse& match,
                      Services& services, ErrorSlot& error) {
    std::optional<std::string> album;
    if (match.trackId) {
        try {
            album = lookUpAlbum(client, url, *match.trackId, services, error);
        } catch (const std::bad_alloc&) {
            services.log.write("Out of memory while looking up the album: the report leaves it out");
        }
    }
    // In pieces, so that the report is printed even if there is no memory left.
    TextPieces report = "<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\n<match>\n";
    addElement(report, "<album>", album, "</album>\n");
    addElement(report, "<name>", match.artistName, "</name>\n");
    addElement(report, "<title>", match.trackName, "</title>\n");
    report.add("</match>\n");
    services.standardOutput.write(report);
}

} // namespace tarn
