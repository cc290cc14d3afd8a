// SPDX-License-Identifier: Apache-2.0
#include "run.h"

#include "NSMutableURLRequest_MultipartFormRequest.h"
#include "TarnInterface.h"
#include "error_text.h"
#include "match_report.h"
#include "platform/wipe.h"

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

// What a recognition makes. It is never destroyed: the process ends right after, and giving everything back one by
// one would only delay it. The runs hang on each other so that all stay reachable, and a leak check finds real leaks
// alone. On the error paths even the library handle stays open.
struct Run {
    Run* previous = nullptr;
    std::optional<TarnInterface> client;
    std::optional<NSMutableURLRequest_MultipartFormRequest> request;
    std::optional<NSMutableURLRequest_MultipartFormRequest> albumRequest; // none without a track id
};

Run& startRun() {
    static Run* lastRun = nullptr;
    Run* run = new Run;
    run->previous = lastRun;
    lastRun = run;
    return *run;
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
    Run& run = startRun();
    ErrorSlot error;
    TarnInterface& client = run.client.emplace(services, key, kUserId, host, kFingerprintCount, false, error);
    if (error) return failed(services, "Error Initialising", *error, kRunInitFailed);

    step = kRunFingerprintFailed;
    const auto fingerprint = client.createRequestFromWAVFile(path, error);
    if (error) return failed(services, "Error Fingerprinting", *error, kRunFingerprintFailed);

    step = kRunTransportFailed;
    const auto url = client.getRequestURL();
    auto& request = run.request.emplace(url);
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
    if (body) { // present, if empty: an empty body is one that cannot be parsed
        const auto matches = client.parseResponse(*body, error);
        if (error) return failed(services, "Error parsing fingerprint response", *error, kRunParseFailed);
        body.reset(); // it may be large, and so may the album's
        if (matches && !matches->empty()) {
            writeMatchReport(client, url, matches->front(), services, error, run.albumRequest);
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
    // Whatever begins with the option is the option.
    const bool isEncoding = std::string_view(arguments[1]).starts_with(kEncodeOption);
    if (!isEncoding && arguments.size() < 4) return usageError(services);
    step = kRunInitFailed;
    if (isEncoding) return encode(arguments[2], services);
    return recognise(arguments[1], arguments[2], arguments[3], services, step);
}

} // namespace

int runTarn(std::span<const char* const> arguments, Services& services) {
    int step = kRunUsageError; // what the run returns when memory ends it: the value of the step that it is in
    try {
        return runSteps(arguments, services, step);
    } catch (const std::bad_alloc&) {
        services.log.write("Out of memory"); // the log needs none
        return step;
    }
}

} // namespace tarn
