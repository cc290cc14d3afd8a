// SPDX-License-Identifier: Apache-2.0
#include "TarnInterface.h"

#include "access_key.h"
#include "ascii.h"
#include "device_identity.h"
#include "platform/wipe.h"
#include "response_interpretation.h"
#include "tarn_error.h"
#include "wav_session.h"

#include <limits>
#include <memory>
#include <string_view>
#include <utility>

namespace tarn {
namespace {

constexpr int32_t kBareFraming = 'B';
constexpr int32_t kHttpFraming = 'H';
constexpr int32_t kClientKind = 'S';
constexpr uint16_t kFingerprintRequestOption = 10;
constexpr int32_t kLanguageEnglish = 0x656E; // "en", e in the high byte
constexpr uint32_t kDescriptorValue = 44100;
constexpr uint8_t kLookupAlbums = 'A';

int64_t secondsSinceEpoch(const Clock& clock) {
    return std::chrono::floor<std::chrono::seconds>(clock.now().time_since_epoch()).count();
}

// The text for the library, which takes ASCII: null for any other.
const char* asciiOrNull(const std::string& text) { return isAscii(text) ? text.c_str() : nullptr; }

// A text and its length: null and 0 if there is none or it is not ASCII.
struct AsciiText {
    AsciiText() = default;
    explicit AsciiText(const std::string& whole)
        : text(asciiOrNull(whole)), length(text == nullptr ? 0 : whole.size()) {}
    const uint8_t* bytes() const { return reinterpret_cast<const uint8_t*>(text); }

    const char* text = nullptr;
    size_t length = 0;
};

// A copy of a request that the library made. The request is given back to the library, also if there is no memory for
// the copy.
Bytes taken(uint8_t* request, uint32_t length, int32_t (*release)(uint8_t**)) {
    const auto giveBack = [release](uint8_t* made) { release(&made); };
    const std::unique_ptr<uint8_t, decltype(giveBack)> owner(request, giveBack);
    return Bytes(request, request + length);
}

} // namespace

TarnInterface::TarnInterface(Services& services, std::string key, const std::string& /*userId*/, std::string host,
                             int32_t nFingerprints, bool doHttp, ErrorSlot& error)
    : services_(services), httpFlag_(doHttp), key_(std::move(key)), host_(std::move(host)),
      deviceId_(chooseDeviceId(services.interfaces)), nFingerprints_(nFingerprints) {
    const TracesWipedAtEnd wiper;
    initHandle(error);
}

void TarnInterface::shutdown() { KVXShutdown(&handle_); }

void TarnInterface::initHandle(ErrorSlot& error) {
    const Bytes cipherText = decodeKeyText(key_);
    AccessCode code;
    CipherKey cipherKey; // wiped with the access code when this returns: the library has copies by then
    buildCipherKey(cipherKey);
    {
        PlainText plain;
        size_t plainLength = 0;
        // An empty vector's data may be null, which would be a bad parameter rather than an empty text.
        static constexpr uint8_t kNothing = 0;
        const int32_t status =
            services_.cipher.crypt(CipherOperation::Decrypt, {cipherKey.data(), cipherKey.size()},
                                   cipherText.empty() ? &kNothing : cipherText.data(), cipherText.size(),
                                   {plain.data(), kCipherTextLimitBytes}, plainLength);
        if (status != kCipherSuccess) {
            error = tarnError(100, "Key Not Correct Format " + std::to_string(status));
            return;
        }
        if (auto refusal = takeAccessCode(plain, plainLength, secondsSinceEpoch(services_.clock), code)) {
            error = tarnError(100, std::move(*refusal));
            return;
        }
    }

    const AsciiText device = deviceId_ ? AsciiText(*deviceId_) : AsciiText();
    const AsciiText user = userId_.empty() ? AsciiText() : AsciiText(userId_);
    const AsciiText host(host_);
    const int32_t framing = httpFlag_ ? kHttpFraming : kBareFraming;
    const int32_t status = KVXInit(&handle_, code.text(), device.bytes(), static_cast<int16_t>(device.length),
                                   user.bytes(), static_cast<int16_t>(user.length), framing, framing, kClientKind,
                                   host.text, static_cast<uint16_t>(host.length));
    if (status != 0) error = tarnError(100, "Cannot Init Handle");
}

std::string TarnInterface::encodeSak(const std::string& rawText, Services& services) {
    const TracesWipedAtEnd wiper;
    return encipherText(rawText, services);
}

std::string TarnInterface::encipherText(const std::string& rawText, Services& services) {
    CipherKey cipherKey;
    buildCipherKey(cipherKey);
    const char* const text = asciiOrNull(rawText);
    SecretBuffer<kEncodedLimitBytes> cipherText;
    size_t length = 0;
    const int32_t status = services.cipher.crypt(
        CipherOperation::Encrypt, {cipherKey.data(), cipherKey.size()}, reinterpret_cast<const uint8_t*>(text),
        text == nullptr ? 0 : rawText.size(), {cipherText.data(), cipherText.size()}, length);
    services.log.write({"RESULT CODE ", std::to_string(status)});
    return encodeKeyText(cipherText.data(), length);
}

std::optional<Bytes> TarnInterface::createRequestFromWAVFile(const std::string& path, ErrorSlot& error) {
    if (!fingerprintWavFile(handle_, path, error)) return std::nullopt;
    return requestOfSession(path, error);
}

std::optional<Bytes> TarnInterface::requestOfSession(const std::string& path, ErrorSlot& error) {
    KVXFingerprintDescriptor descriptor{};
    descriptor.text1 = asciiOrNull(path);
    descriptor.value1 = kDescriptorValue;
    uint8_t* request = nullptr;
    uint32_t length = 0;
    if (KVXGenerateFingerprintRequest3(handle_, nullptr, 0, &descriptor, kFingerprintRequestOption, kLanguageEnglish,
                                       &request, &length) != 0) {
        error = tarnError(109, "Cannot generate fingerprint request for file " + path);
        return std::nullopt;
    }
    return taken(request, length, KVXFreeFingerprintRequest3);
}

std::optional<Url> TarnInterface::getRequestURL() const { return Url::parse("http://" + host_ + "/sdkrequest"); }

const char* TarnInterface::getFormBoundary() { return "---------------------------265001916915724"; }

const char* TarnInterface::getFormName() { return "data"; }

std::optional<std::vector<MusicLookupResponse>> TarnInterface::parseResponse(const Bytes& body, ErrorSlot& error) {
    int32_t count = 0;
    if (body.size() > static_cast<size_t>(std::numeric_limits<int32_t>::max()) ||
        KVXParseServerResponse(handle_, body.data(), static_cast<int32_t>(body.size()), &count) != 0) {
        error = tarnError(200, "Cannot parse server response");
        return std::nullopt;
    }
    return interpretResponses(handle_, count, services_.log, services_.standardOutput, error);
}

std::optional<Bytes> TarnInterface::createAlbumLookupRequest(const std::string& trackId, int32_t maxAlbums,
                                                             ErrorSlot& error) {
    const std::string_view idText = trackId.c_str(); // up to a zero byte
    const KVXValueLength id = {const_cast<char*>(idText.data()), static_cast<uint32_t>(idText.size())}; // only read
    uint8_t* request = nullptr;
    uint32_t length = 0;
    if (KVXGenerateMetaIDRequest(handle_, kLookupAlbums, &id, 1, static_cast<int16_t>(maxAlbums), kLanguageEnglish,
                                 &request, &length) != 0) {
        error = tarnError(200, "Cannot generate meta data request for track " + trackId);
        return std::nullopt;
    }
    return taken(request, length, KVXFreeMetaIDRequest);
}

} // namespace tarn
