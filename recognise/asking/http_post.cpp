// SPDX-License-Identifier: Apache-2.0
#include "recognise/asking/http_post.h"

#include "protocol/match_place.h"

#include <curl/curl.h>

#include <array>
#include <charconv>
#include <mutex>
#include <new>
#include <string_view>
#include <strings.h>

namespace tarn::recognise {

namespace {

constexpr const char* kPath = "sdkrequest";

// Before the first use of libcurl.
void startLibrary() {
    static std::once_flag once;
    std::call_once(once, [] {
        if (curl_global_init(CURL_GLOBAL_DEFAULT) != CURLE_OK) throw std::bad_alloc();
    });
}

struct FreeUrl {
    void operator()(CURLU* url) const { curl_url_cleanup(url); }
};
using UrlParts = std::unique_ptr<CURLU, FreeUrl>;

std::string partOf(CURLU* url, CURLUPart part, unsigned flags = 0) {
    char* text = nullptr;
    if (curl_url_get(url, part, &text, flags) != CURLUE_OK) return {};
    std::string copy = text;
    curl_free(text);
    return copy;
}

// The value of a header line of that name; nothing: it is another one.
std::optional<std::string_view> valueOf(std::string_view line, std::string_view name) {
    if (line.size() <= name.size() || line[name.size()] != ':') return std::nullopt;
    if (strncasecmp(line.data(), name.data(), name.size()) != 0) return std::nullopt;
    line.remove_prefix(name.size() + 1);
    while (!line.empty() && (line.front() == ' ' || line.front() == '\t')) line.remove_prefix(1);
    while (!line.empty() && (line.back() == '\r' || line.back() == '\n' || line.back() == ' ')) line.remove_suffix(1);
    return line;
}

size_t takeBody(const char* bytes, size_t, size_t count, void* reply) {
    std::string& body = static_cast<HttpReply*>(reply)->body;
    if (body.size() + count > HttpPost::kMaxAnswerBytes) return 0;
    body.append(bytes, count);
    return count;
}

size_t takeHeader(const char* bytes, size_t, size_t count, void* taken) {
    HttpReply& reply = *static_cast<HttpReply*>(taken);
    const std::string_view line(bytes, count);
    if (line.starts_with("HTTP/")) { // an interim answer comes first
        reply.match.clear();
        reply.retryAfter.reset();
    }
    if (const auto match = valueOf(line, server::kMatchHeader)) reply.match = *match;
    if (const auto after = valueOf(line, "Retry-After")) {
        unsigned seconds = 0;
        const auto [end, error] = std::from_chars(after->data(), after->data() + after->size(), seconds);
        if (error == std::errc() && end == after->data() + after->size()) {
            reply.retryAfter = std::chrono::seconds(seconds);
        }
    }
    return count;
}

} // namespace

struct HttpPost::Impl {
    struct Close {
        void operator()(CURL* connection) const { curl_easy_cleanup(connection); }
    };
    struct FreeList {
        void operator()(curl_slist* list) const { curl_slist_free_all(list); }
    };
    std::unique_ptr<CURL, Close> handle;
    std::unique_ptr<curl_slist, FreeList> headers;
    std::array<char, CURL_ERROR_SIZE> error{};

    template <class Value>
    void set(CURLoption option, Value value) {
        if (curl_easy_setopt(handle.get(), option, value) != CURLE_OK) throw std::bad_alloc();
    }
};

HttpPost::HttpPost(const std::string& url, const HttpOptions& options) : impl_(std::make_unique<Impl>()) {
    startLibrary();
    Impl& state = *impl_;
    state.handle.reset(curl_easy_init());
    state.headers.reset(curl_slist_append(nullptr, "Expect:")); // no question before the body
    if (state.handle == nullptr || state.headers == nullptr) throw std::bad_alloc();
    state.set(CURLOPT_URL, url.c_str());
    state.set(CURLOPT_PROTOCOLS_STR, "http,https");
    state.set(CURLOPT_NOSIGNAL, 1L);
    state.set(CURLOPT_HTTPHEADER, state.headers.get());
    state.set(CURLOPT_USERAGENT, "tarn-recognise");
    state.set(CURLOPT_ERRORBUFFER, state.error.data());
    state.set(CURLOPT_TIMEOUT_MS, static_cast<long>(options.timeout.count()));
    state.set(CURLOPT_CONNECTTIMEOUT_MS, static_cast<long>(options.timeout.count()));
    state.set(CURLOPT_WRITEFUNCTION, &takeBody);
    state.set(CURLOPT_HEADERFUNCTION, &takeHeader);
    if (!options.proxy.empty()) state.set(CURLOPT_PROXY, options.proxy.c_str());
    if (!options.authorities.empty()) state.set(CURLOPT_CAINFO, options.authorities.c_str());
}

HttpPost::~HttpPost() = default;

HttpReply HttpPost::send(std::span<const uint8_t> packet) {
    Impl& state = *impl_;
    const auto freeForm = [](curl_mime* form) { curl_mime_free(form); };
    const std::unique_ptr<curl_mime, decltype(freeForm)> form(curl_mime_init(state.handle.get()), freeForm);
    curl_mimepart* part = form == nullptr ? nullptr : curl_mime_addpart(form.get());
    if (part == nullptr || curl_mime_name(part, "data") != CURLE_OK ||
        curl_mime_type(part, "application/octet-stream") != CURLE_OK ||
        curl_mime_data(part, reinterpret_cast<const char*>(packet.data()), packet.size()) != CURLE_OK) {
        throw std::bad_alloc();
    }
    HttpReply reply;
    state.error.front() = '\0';
    state.set(CURLOPT_MIMEPOST, form.get());
    state.set(CURLOPT_WRITEDATA, &reply);
    state.set(CURLOPT_HEADERDATA, &reply);
    const CURLcode code = curl_easy_perform(state.handle.get());
    if (code != CURLE_OK) {
        if (reply.body.size() + CURL_MAX_WRITE_SIZE > kMaxAnswerBytes) throw TransportError("the answer is too long");
        throw TransportError(state.error.front() != '\0' ? state.error.data() : curl_easy_strerror(code));
    }
    long status = 0;
    curl_easy_getinfo(state.handle.get(), CURLINFO_RESPONSE_CODE, &status);
    reply.status = static_cast<int>(status);
    return reply;
}

std::string serverUrl(const std::string& named) {
    startLibrary();
    const UrlParts url(curl_url());
    if (url == nullptr) throw std::bad_alloc();
    const auto refuse = [&](const std::string& problem) {
        throw std::invalid_argument(problem + "; name it like http://music.example:8080/");
    };
    const CURLUcode code = curl_url_set(url.get(), CURLUPART_URL, named.c_str(), CURLU_NON_SUPPORT_SCHEME);
    if (code != CURLUE_OK) refuse(std::string("this is not the address of a server: ") + curl_url_strerror(code));
    const std::string scheme = partOf(url.get(), CURLUPART_SCHEME);
    if (scheme != "http" && scheme != "https") refuse("the address of a server begins with http:// or https://");
    // Also where they are empty. A password in an address shows in the list of processes.
    const std::string whole = partOf(url.get(), CURLUPART_URL); // with two slashes
    const std::string_view afterScheme = std::string_view(whole).substr(scheme.size() + std::string_view("://").size());
    if (afterScheme.substr(0, afterScheme.find_first_of("/?#")).find('@') != std::string_view::npos) {
        refuse("the address of a server cannot have a user or a password");
    }
    if (named.find_first_of("?#") != std::string::npos) refuse("a server's address ends with its path");
    std::string path = partOf(url.get(), CURLUPART_PATH);
    if (!path.ends_with('/')) path += '/';
    if (curl_url_set(url.get(), CURLUPART_PATH, (path + kPath).c_str(), 0) != CURLUE_OK) throw std::bad_alloc();
    return partOf(url.get(), CURLUPART_URL);
}

} // namespace tarn::recognise
