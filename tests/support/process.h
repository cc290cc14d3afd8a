// SPDX-License-Identifier: Apache-2.0
// Programs run from outside: to their end, or beside the test.
#pragma once

#include <functional>
#include <string>
#include <sys/types.h>
#include <vector>

namespace kvxtest {

// Descriptors that become a program's standard ones; -1: as the test has them.
struct Streams {
    int out = -1;
    int err = -1;
};

// A program that runs. It is killed with its object, and with the thread that started it.
class Process {
  public:
    // words: the program, which is searched for as a shell does, and its arguments. prepare runs in the child before
    // the program starts, and makes system calls alone.
    explicit Process(
        std::vector<std::string> words, Streams streams = {}, const std::function<void()>& prepare = [] {});
    ~Process();
    Process(const Process&) = delete;
    Process& operator=(const Process&) = delete;

    pid_t id() const { return id_; }
    void signal(int number) const;
    // Waits for its end; the exit status, -1 where a signal ended it.
    int wait();
    bool isOver(); // without waiting
    // After its end: of its largest process at its peak, and of all that it waited for.
    long residentKib() const { return residentKib_; }
    double cpuMs() const { return cpuMs_; }

  private:
    bool reap(int options);

    pid_t id_ = -1;
    bool running_ = true;
    int exitStatus_ = -1;
    long residentKib_ = 0;
    double cpuMs_ = 0;
};

// A file without a name, for what a program prints.
class OutputFile {
  public:
    OutputFile();
    ~OutputFile();
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    int descriptor() const { return descriptor_; }
    std::string text() const; // so far

  private:
    int descriptor_;
};

struct Ended {
    int status = -1; // the exit status; -1: a signal ended it
    std::string out;
    std::string err;
    long residentKib = 0; // at its peak, of its largest process
    double cpuMs = 0;     // user and system
};

// Runs a program to its end.
Ended runProgram(
    std::vector<std::string> words, const std::function<void()>& prepare = [] {});

} // namespace kvxtest
