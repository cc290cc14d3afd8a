// SPDX-License-Identifier: Apache-2.0
// Between a program and the process from which its reading processes are forked: requests, and what became of them.
#pragma once

#include "audio/audio_error.h"
#include "audio/media_child.h"

#include <optional>
#include <string>

namespace tarn::server {

// FFmpeg's libraries are needed and not installed; the text says what to install.
class FfmpegMissing : public AudioError {
  public:
    using AudioError::AudioError;
};

// There is one for each request, after its process has ended.
struct Verdict {
    int status = 0;             // of that process, as waitpid() gives it
    bool ffmpegMissing = false; // there was no process; problem says what is missing
    std::string problem;        // why there was no process; else empty
};

// False if the other side has gone. The descriptors stay the caller's.
bool sendRequest(int socket, const MediaRequest& request, const std::string& name, int file, int channel);
// Nothing if the other side has gone.
std::optional<Verdict> receiveVerdict(int socket);

// Why a process ended that has not said it itself.
std::string problemOf(int status, const MediaRequest& request);

// Forks a process for each request until the other side has gone; then ends this process. nothing: the standard streams
// become it (/dev/null).
[[noreturn]] void serveReading(int socket, SampleRing& ring, int nothing);

} // namespace tarn::server
