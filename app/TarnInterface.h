// SPDX-License-Identifier: Apache-2.0
// The client: one session with the recognition library, one step of a recognition per call.
//
// Operations report failure through the error slot that they take last, with domain "TARN":
//   100  access key or library handle       105  block buffer             109  fingerprint request
//   101  WAV file cannot be opened          106  fingerprint session      200  answer, or album request
//   102  its header cannot be read          107  seek                     201  track record
//   103  no WAV file                        108  fingerprint              202  album, DVD or track-to-album record
//   104  other than 16-bit PCM
#pragma once

#include "MusicLookupResponse.h"
#include "kvx.h"
#include "platform/bytes.h"
#include "platform/error.h"
#include "platform/services.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace tarn {

class TarnInterface {
  public:
    // Opens the session: decrypts the access key, chooses a device identity, opens the library handle. Only the error
    // slot shows a failure. userId is accepted and dropped.
    // doHttp: the library frames requests and answers as HTTP itself.
    TarnInterface(Services& services, std::string key, const std::string& userId, std::string host,
                  int32_t nFingerprints, bool doHttp, ErrorSlot& error);
    TarnInterface(const TarnInterface&) = delete;
    TarnInterface& operator=(const TarnInterface&) = delete;
    // Does not close the session: call shutdown() first.
    ~TarnInterface() = default;

    // Releases the library handle. Nothing else may be called afterwards.
    void shutdown();

    const std::string& userId() const { return userId_; } // always empty
    const std::string& host() const { return host_; }
    const std::optional<std::string>& deviceId() const { return deviceId_; }
    int32_t nFingerprints() const { return nFingerprints_; }

    // The access key that hands over rawText, in upper-case hexadecimal digits. Logs the cipher's status; a failing
    // one gives an empty key.
    static std::string encodeSak(const std::string& rawText, Services& services);

    // The bytes of a fingerprint request for the file; nothing on failure.
    std::optional<Bytes> createRequestFromWAVFile(const std::string& path, ErrorSlot& error);

    std::optional<Url> getRequestURL() const;
    static const char* getFormBoundary();
    static const char* getFormName();

    // Logs every response of the answer and returns those that are matches; nothing on failure. The body is not needed
    // afterwards.
    std::optional<std::vector<MusicLookupResponse>> parseResponse(const Bytes& body, ErrorSlot& error);

    // The bytes of a request for the albums of a track; nothing on failure. maxAlbums travels as 16 bits.
    std::optional<Bytes> createAlbumLookupRequest(const std::string& trackId, int32_t maxAlbums, ErrorSlot& error);

  private:
    // Not inlined, so that their callers can wipe what they leave on the stack.
    [[gnu::noinline]] void initHandle(ErrorSlot& error);
    [[gnu::noinline]] static std::string encipherText(const std::string& rawText, Services& services);

    std::optional<Bytes> requestOfSession(const std::string& path, ErrorSlot& error);

    Services& services_;
    bool httpFlag_;
    KVXHandle* handle_ = nullptr;
    std::string key_;    // as given: hexadecimal
    std::string userId_; // never assigned, so the library is opened without a user
    std::string host_;
    std::optional<std::string> deviceId_; // hardware address of the chosen network interface
    int32_t nFingerprints_;               // kept for its accessor; no request depends on it
};

} // namespace tarn
