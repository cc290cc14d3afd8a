// SPDX-License-Identifier: Apache-2.0
// A mutable URL request that can carry bytes as the one field of a multipart form.
#pragma once

#include "platform/bytes.h"
#include "platform/url_loading.h"

#include <string_view>

namespace tarn {

class NSMutableURLRequest_MultipartFormRequest : public MutableURLRequest {
  public:
    using MutableURLRequest::MutableURLRequest;

    // Makes the request a POST of a form with data as its field of that name. The boundary is not checked against
    // the data.
    void addFormData(const Bytes& data, std::string_view boundary, std::string_view name);
};

} // namespace tarn
