// SPDX-License-Identifier: Apache-2.0
// A request of the client, and its outcome as a text to compare.
#pragma once

#include "NSMutableURLRequest_MultipartFormRequest.h"
#include "platform/linux/http_client.h"
#include "support/answers.h"
#include "support/loopback_server.h"

namespace kvxtest::http_exchange {

inline constexpr std::chrono::milliseconds kPatience(20'000); // far more than any step takes
struct Outcome {
    std::optional<Bytes> body;
    std::optional<int> status;
    std::optional<tarn::Error> error;
};

inline tarn::NSMutableURLRequest_MultipartFormRequest requestTo(const std::string& host,
                                                                const Bytes& data = bytesOf("D")) {
    tarn::NSMutableURLRequest_MultipartFormRequest request(tarn::Url::parse("http://" + host + "/sdkrequest"));
    request.addFormData(data, "B", "data");
    return request;
}

inline Outcome sendRequest(const tarn::MutableURLRequest& request, std::chrono::milliseconds limit = kPatience) {
    tarn::HttpClient client(limit);
    std::optional<tarn::HTTPURLResponse> response;
    tarn::ErrorSlot error;
    Outcome outcome;
    outcome.body = client.sendSynchronousRequest(request, response, error);
    if (response) outcome.status = response->statusCode;
    outcome.error = error;
    return outcome;
}

inline std::string show(const Outcome& outcome) {
    if (outcome.error) {
        return outcome.error->domain + " " + std::to_string(outcome.error->code) +
               (outcome.body || outcome.status ? " and more" : "");
    }
    const std::string body = outcome.body ? "'" + textOf(*outcome.body) + "'" : "no body";
    return (outcome.status ? std::to_string(*outcome.status) : "no response") + " " + body;
}

inline Script answering(const std::vector<Step>& steps) {
    Script script = {receiveRequest()};
    script.insert(script.end(), steps.begin(), steps.end());
    return script;
}

inline const std::string kOk = "HTTP/1.1 200 OK\r\n";

} // namespace kvxtest::http_exchange
