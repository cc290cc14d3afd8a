// SPDX-License-Identifier: Apache-2.0
#include "NSMutableURLRequest_MultipartFormRequest.h"

#include <string>

namespace tarn {

void NSMutableURLRequest_MultipartFormRequest::addFormData(const Bytes& data, std::string_view boundary,
                                                           std::string_view name) {
    const std::string delimiter = "--" + std::string(boundary);
    const std::string before = delimiter + "\r\nContent-Disposition: form-data; name=\"" + std::string(name) +
                               "\"\r\nContent-Type: application/octet-stream\r\n\r\n";
    const std::string after = "\r\n" + delimiter + "--\r\n";

    method = "POST";
    setHeader("Content-Type", "multipart/form-data; boundary=" + std::string(boundary));
    body.clear();
    body.reserve(before.size() + data.size() + after.size());
    body.assign(before.begin(), before.end());
    body.insert(body.end(), data.begin(), data.end());
    body.insert(body.end(), after.begin(), after.end());
    setHeader("Content-Length", std::to_string(body.size()));
}

} // namespace tarn
