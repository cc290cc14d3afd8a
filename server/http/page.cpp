// SPDX-License-Identifier: Apache-2.0
#include "http/page.h"

#include "http/endpoints.h"

#include <algorithm>
#include <libdeflate.h>
#include <memory>
#include <microhttpd.h>
#include <new>
#include <stdexcept>

namespace tarn::server {

namespace {

// Scripts, styles and requests of the page's own address only, and nothing inline.
constexpr char kContentPolicy[] =
    "default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self'; connect-src 'self'; worker-src 'self'; "
    "base-uri 'none'; form-action 'none'; frame-ancestors 'none'";
// A worker has the policy of its own file. The library runs in this one: 'wasm-unsafe-eval' allows WebAssembly to be
// compiled there, and no JavaScript to be made from text, which 'unsafe-eval' would.
constexpr std::string_view kWorkerPath = "/worker.js";
constexpr char kWorkerPolicy[] = "default-src 'none'; script-src 'self' 'wasm-unsafe-eval'; connect-src 'self'; "
                                 "base-uri 'none'; form-action 'none'; frame-ancestors 'none'";
constexpr char kPermissions[] = "microphone=(self), camera=(), geolocation=(), display-capture=()";

std::string_view trimmed(std::string_view text) {
    constexpr std::string_view kBlanks = " \t";
    const size_t begin = text.find_first_not_of(kBlanks);
    if (begin == std::string_view::npos) return {};
    return text.substr(begin, text.find_last_not_of(kBlanks) - begin + 1);
}

// Takes the next element of a list off its front.
std::string_view takeElement(std::string_view& list, char separator) {
    const size_t end = list.find(separator);
    const std::string_view element = trimmed(list.substr(0, end));
    list = end == std::string_view::npos ? std::string_view() : list.substr(end + 1);
    return element;
}

// "q=0" in any of its forms, "q=0.000".
bool isRefused(std::string_view parameters) {
    while (!parameters.empty()) {
        const std::string_view each = takeElement(parameters, ';');
        if (each.starts_with("q=") || each.starts_with("Q=")) {
            return each.find_first_not_of("0.", 2) == std::string_view::npos;
        }
    }
    return false;
}

bool takesGzip(std::string_view acceptEncoding) {
    while (!acceptEncoding.empty()) {
        std::string_view element = takeElement(acceptEncoding, ',');
        if (takeElement(element, ';') == "gzip") return !isRefused(element);
    }
    return false;
}

// Compares weakly, as a request that reads does.
bool names(std::string_view ifNoneMatch, std::string_view tag) {
    while (!ifNoneMatch.empty()) {
        std::string_view each = takeElement(ifNoneMatch, ',');
        if (each.starts_with("W/")) each.remove_prefix(2);
        if (each == tag || each == "*") return true;
    }
    return false;
}

std::string plainBytesOf(const PageFile& file) {
    const std::unique_ptr<libdeflate_decompressor, decltype(&libdeflate_free_decompressor)> decompressor(
        libdeflate_alloc_decompressor(), &libdeflate_free_decompressor);
    if (decompressor == nullptr) throw std::bad_alloc();
    std::string plain(file.plainBytes, '\0');
    if (libdeflate_gzip_decompress(decompressor.get(), file.gzip.data(), file.gzip.size(), plain.data(), plain.size(),
                                   nullptr) != LIBDEFLATE_SUCCESS) {
        throw std::runtime_error("a file of the page is damaged; install the program again");
    }
    return plain;
}

std::string_view headerOf(MHD_Connection* connection, const char* name) {
    const char* value = MHD_lookup_connection_value(connection, MHD_HEADER_KIND, name);
    return value == nullptr ? std::string_view() : value;
}

} // namespace

const PageFile* pageFileAt(std::string_view path) {
    path = path.substr(0, path.find('?'));
    const std::string_view name = path == "/" ? "/index.html" : path;
    const auto files = pageFiles();
    const auto found =
        std::find_if(files.begin(), files.end(), [&](const PageFile& each) { return each.path == name; });
    return found == files.end() ? nullptr : &*found;
}

HttpResponse pageAnswer(const PageFile& file, const PageRequest& request) {
    const bool compressed = takesGzip(request.acceptEncoding);
    // Two encodings are two representations, which need two tags.
    const std::string tag = "\"" + std::string(file.digest) + (compressed ? "-gzip\"" : "\"");
    HttpResponse response;
    response.type = file.type;
    response.caching = "no-cache"; // keep it, and ask each time whether it is still good
    response.headers = {{"ETag", tag},
                        {"Vary", "Accept-Encoding"},
                        {"Content-Security-Policy", file.path == kWorkerPath ? kWorkerPolicy : kContentPolicy},
                        {"X-Content-Type-Options", "nosniff"},
                        {"Referrer-Policy", "no-referrer"},
                        {"Permissions-Policy", kPermissions}};
    if (names(request.ifNoneMatch, tag)) {
        response.status = 304;
        return response;
    }
    if (compressed) {
        response.headers.emplace_back("Content-Encoding", "gzip");
        response.body.assign(reinterpret_cast<const char*>(file.gzip.data()), file.gzip.size());
    } else {
        response.body = plainBytesOf(file);
    }
    return response;
}

HttpResponse answerPage(MHD_Connection* connection, std::string_view target, std::string_view method) {
    const PageFile* file = pageFileAt(pathOf(target));
    if (file == nullptr) return notFound();
    if (!pageEndpoint().allows(method)) return methodNotAllowed(pageEndpoint());
    return pageAnswer(*file, {headerOf(connection, "Accept-Encoding"), headerOf(connection, "If-None-Match")});
}

} // namespace tarn::server
