// SPDX-License-Identifier: Apache-2.0
// Asks a recognition server: a signed packet for each piece of audio, and the records that come back.
#pragma once

#include "coding/library_handle.h"
#include "recognise/asking/http_post.h"
#include "recognise/model/asker.h"

#include <chrono>
#include <functional>
#include <string>

namespace tarn::recognise {

struct ServerOptions {
    std::string url;        // as serverUrl() gives it
    std::string accessCode; // 80 digits
    unsigned retries = 4;   // after the first time
    HttpOptions http;
};

// The server does not take this access code: no further question is answered either.
class Refused : public NoAnswer {
  public:
    using NoAnswer::NoAnswer;
};

class ServerAsker : public Asker {
  public:
    using Pause = std::function<void(std::chrono::milliseconds)>;

    // pause: waits that long before a retry. Throws std::invalid_argument where the library does not take the access
    // code.
    explicit ServerAsker(const ServerOptions& options, Pause pause = {});

    // Asks again after a cut connection, a time-out, and a status that says that the server is busy or away.
    Answer ask(std::span<const int16_t> samples) override;

  private:
    HttpReply sendPatiently(std::span<const uint8_t> packet);

    ServerOptions options_;
    Pause pause_;
    server::LibraryHandle handle_;
    HttpPost post_;
};

} // namespace tarn::recognise
