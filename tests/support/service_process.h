// SPDX-License-Identifier: Apache-2.0
// A service as a process, which prints its address in its first line.
#pragma once

#include "support/process.h"

#include <csignal>
#include <cstdint>
#include <string>
#include <vector>

namespace kvxtest {

class ServiceProcess {
  public:
    // words: the program and its arguments. Returns when its first line is there, or when it has ended.
    explicit ServiceProcess(std::vector<std::string> words);

    const std::string& firstLine() const { return firstLine_; }
    // The first line ends with it.
    std::string address() const { return firstLine_.substr(firstLine_.rfind(' ') + 1); }
    uint16_t port() const;
    void terminate() const { process_.signal(SIGTERM); }
    // Exit status; -1 for one that was killed.
    int wait() { return process_.wait(); }
    // What it has written to standard error.
    std::string log() const { return log_.text(); }

  private:
    struct Pipe {
        Pipe();
        ~Pipe();
        Pipe(const Pipe&) = delete;
        Pipe& operator=(const Pipe&) = delete;
        void closeWriter();
        int reader = -1;
        int writer = -1;
    };

    OutputFile log_;
    Pipe output_;
    Process process_;
    std::string firstLine_;
};

} // namespace kvxtest
