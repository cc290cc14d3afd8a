// SPDX-License-Identifier: Apache-2.0
// Tags read in a process of its own. A file of half a megabyte can make the tag library unpack gigabytes, and a library
// for many formats has many places to fail: a process that has a bounded time and memory for each file costs that file.
#pragma once

#include "model/recording.h"

#include <cstddef>
#include <filesystem>
#include <sys/types.h>

namespace tarn::server {

class TagProcess {
  public:
    // What the reading of one file's tags may take.
    static constexpr size_t kMaxBytes = size_t{96} << 20;
    static constexpr unsigned kMaxSeconds = 10; // of processor time

    // To be made before the process has other threads. Throws std::system_error.
    TagProcess();
    ~TagProcess();
    TagProcess(const TagProcess&) = delete;
    TagProcess& operator=(const TagProcess&) = delete;

    // As readTags(). Throws AudioError, too, where the reading takes too much or ends its process.
    Tags read(const std::filesystem::path& path);

  private:
    int socket_ = -1; // one message a question, one an answer
    pid_t process_ = -1;
};

} // namespace tarn::server
