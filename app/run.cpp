// SPDX-License-Identifier: Apache-2.0
#include "run.h"

#include "NSMutableURLRequest_MultipartFormRequest.h"
#include "TarnInterface.h"
#include "error_text.h"
#include "match_report.h"
#include "platform/wipe.h"

#include <list>
#include <new>
#include <optional>
#include <string>
#include <string_view>

namespace tarn {
namespace {

constexpr std::string_view kUsage = "tarn [-e rawsac] sackey hostname filename\nsackey - obfuscated access key\n"
                                    "hostname tarn host\nfilename - wav file to identify";
constexpr std::string_view kEncodeOption = "-e";
constexpr const char* kUserId = "QOPX";
constexpr int32_t kFingerprintCount = 3;

// The clients of all runs of this process. They are never destroyed: on the error paths a client keeps its library
// handle open, and a leak check must not take that for a leak.
std::list<TarnInterface>& clients() {
    static auto* const all = new std::list<TarnInterface>;
    return *all;
}

int usageError(Services& services) {
    services.log.write(kUsage);
    return kRunUsageError;
}

int failed(Services& services, std::string_view what, const Error& error, int result) {
    services.log.write({what, " ", codeAndDescription(error)});
    return result;
}

int encode(std::string rawText, Services& services) {
    services.log.write({"Encoded Key ", TarnInterface::encodeSak(rawText, services)});
    wipe(rawText.data(), rawText.size());
    return kRunDone;
}

int recognise(const std::string& key, const std::string& host, const std::string& path, Services& services, int& step) {
    ErrorSlot error;
    TarnInterface& client = clients().emplace_back(services, key, kUserId, host, kFingerprintCount, false, error);
    if (error) return failed(services, "Error Initialising", *error, kRunInitFailed);

    step = kRunFingerprintFailed;
    const auto fingerprint = client.createRequestFromWAVFile(path, error);
    if (error) return failed(services, "Error Fingerprinting", *error, kRunFingerprintFailed);

    step = kRunTransportFailed;
    const auto url = client.getRequestURL();
    NSMutableURLRequest_MultipartFormRequest request(url);
    request.addFormData(*fingerprint, TarnInterface::getFormBoundary(), TarnInterface::getFormName());
    std::optional<HTTPURLResponse> response;
    auto body = services.urlLoading.sendSynchronousRequest(request, response, error);
    if (error) return failed(services, "Error sending fingerprint request", *error, kRunTransportFailed);
    step = kRunNoGoodResponse;
    if (!response) {
        services.log.write("No HTTP Response");
        return kRunNoGoodResponse;
    }
    if (response->statusCode != kHttpOk) {
        services.log.write({"Invalid HTTP Status Code ", std::to_string(response->statusCode)});
        return kRunNoGoodResponse;
    }

    step = kRunParseFailed;
    if (body) { // also an empty one, which cannot be parsed
        const auto matches = client.parseResponse(*body, error);
        if (error) return failed(services, "Error parsing fingerprint response", *error, kRunParseFailed);
        body.reset(); // it may be large, and the album's answer too
        if (matches && !matches->empty()) {
            writeMatchReport(client, url, matches->front(), services, error);
        }
    }
    client.shutdown();

    step = kRunOutputFailed;
    if (const int status = services.standardOutput.error(); status != 0) {
        return failed(services, "Error Writing Standard Output", systemError(status), kRunOutputFailed);
    }
    return kRunDone;
}

int runSteps(std::span<const char* const> arguments, Services& services, int& step) {
    if (arguments.size() < 3) return usageError(services);
    // Any argument that begins with the option counts as the option, on purpose.
    const bool isEncoding = std::string_view(arguments[1]).starts_with(kEncodeOption);
    if (!isEncoding && arguments.size() < 4) return usageError(services);
    step = kRunInitFailed;
    if (isEncoding) return encode(arguments[2], services);
    return recognise(arguments[1], arguments[2], arguments[3], services, step);
}

} // namespace

int runTarn(std::span<const char* const> arguments, Services& services) {
    int step = kRunUsageError; // the status if memory runs out: that of the current step
    try {
        return runSteps(arguments, services, step);
    } catch (const std::bad_alloc&) {
        services.log.write("Out of memory"); // needs no memory
        return step;
    }
}

} // namespace tarn
