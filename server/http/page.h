// SPDX-License-Identifier: Apache-2.0
// The page for browsers: which of its files is at a path, and the answer to a request for one.
#pragma once

#include "http/http_response.h"
#include "http/page_files.h"

#include <string_view>

struct MHD_Connection;

namespace tarn::server {

// The headers of a request that decide about the answer; empty: there is none.
struct PageRequest {
    std::string_view acceptEncoding;
    std::string_view ifNoneMatch;
};

// Null: there is none. "/" is the page itself; a query after the path is ignored.
const PageFile* pageFileAt(std::string_view path);

// 200 with the file, compressed where the client takes that, or 304. Throws std::bad_alloc.
HttpResponse pageAnswer(const PageFile& file, const PageRequest& request);

// The answer to whatever is asked at a target that is no endpoint.
HttpResponse answerPage(MHD_Connection* connection, std::string_view target, std::string_view method);

} // namespace tarn::server
