#include "match_report.h"

#include "error_text.h"

#include <utility>

namespace tarn {
namespace {

constexpr int32_t kMaxAlbums = 1;

// Sends the album request; nothing, and a line in the log, unless a body came back.
std::optional<Bytes> requestAlbum(const NSMutableURLRequest_MultipartFormRequest& request, Services& services,
                                  ErrorSlot& error) {
    std::optional<HTTPURLResponse> response;
    auto body = services.urlLoading.sendSynchronousRequest(request, response, error);
    if (error) {
        services.log.write("HTTP Error Looking Up Extra Meta Data " + codeAndDescription(*error));
    } else if (!response) {
        services.log.write("No Metadata HTTP Response");
    } else if (response->statusCode != kHttpOk) {
        services.log.write("Invalid Metadata HTTP Status Code " + std::to_string(response->statusCode));
    } else if (!body || body->empty()) {
        services.log.write("Empty Metadata Response");
    } else {
        return body;
    }
    return std::nullopt;
}

// The name of the first album that the server has for the track.
std::optional<std::string> lookUpAlbum(TarnInterface& client, const std::optional<Url>& url, const std::string& trackId,
                                       Services& services, ErrorSlot& error, MatchReport& report) {
    const auto lookup = client.createAlbumLookupRequest(trackId, kMaxAlbums, error);
    if (!lookup) {
        services.log.write("Error Looking Up Extra Meta Data " + codeAndDescription(*error));
        return std::nullopt;
    }
    auto& request = report.albumRequest.emplace(url);
    request.addFormData(*lookup, TarnInterface::getFormBoundary(), TarnInterface::getFormName());
    const auto body = requestAlbum(request, services, error);
    if (!body) return std::nullopt;
    // Only the list counts: an answer that cannot be parsed leaves the album out.
    const auto albums = client.parseResponse(*body, error);
    if (!albums) return std::nullopt;
    for (const auto& album : *albums) {
        if (album.albumName) return album.albumName;
    }
    return std::nullopt;
}

// Values go in exactly as received: nothing is escaped, on purpose, even where the document then is not well-formed.
void appendElement(std::string& text, const char* name, const std::optional<std::string>& value) {
    if (!value) return;
    text += std::string("<") + name + ">" + *value + "</" + name + ">\n";
}

} // namespace

void buildMatchReport(TarnInterface& client, const std::optional<Url>& url, const MusicLookupResponse& match,
                      Services& services, ErrorSlot& error, MatchReport& report) {
    report.text = "<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\n<match>\n";
    if (match.trackId) {
        appendElement(report.text, "album", lookUpAlbum(client, url, *match.trackId, services, error, report));
    }
    appendElement(report.text, "name", match.artistName);
    appendElement(report.text, "title", match.trackName);
    report.text += "</match>";
}

} // namespace tarn
