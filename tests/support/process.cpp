// SPDX-License-Identifier: Apache-2.0
#include "support/process.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <stdexcept>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>

namespace kvxtest {

namespace {

double msOf(const timeval& time) {
    return static_cast<double>(time.tv_sec) * 1e3 + static_cast<double>(time.tv_usec) * 1e-3;
}

} // namespace

Process::Process(std::vector<std::string> words, Streams streams, const std::function<void()>& prepare) {
    std::vector<char*> pointers;
    pointers.reserve(words.size() + 1);
    for (std::string& word : words) pointers.push_back(word.data());
    pointers.push_back(nullptr);
    id_ = fork();
    if (id_ < 0) throw std::runtime_error("cannot start " + words.front());
    if (id_ > 0) return;
    prctl(PR_SET_PDEATHSIG, SIGKILL); // a test that crashes leaves none running
    std::signal(SIGPIPE, SIG_DFL);
    if (streams.out >= 0) dup2(streams.out, STDOUT_FILENO);
    if (streams.err >= 0) dup2(streams.err, STDERR_FILENO);
    prepare();
    execvp(pointers[0], pointers.data());
    _exit(127);
}

Process::~Process() {
    if (!running_) return;
    signal(SIGKILL);
    wait();
}

void Process::signal(int number) const {
    if (running_) kill(id_, number);
}

bool Process::reap(int options) {
    if (!running_) return true;
    int status = 0;
    rusage used{};
    pid_t ended = 0;
    do ended = wait4(id_, &status, options, &used);
    while (ended < 0 && errno == EINTR);
    if (ended != id_) return false;
    running_ = false;
    exitStatus_ = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    residentKib_ = used.ru_maxrss;
    cpuMs_ = msOf(used.ru_utime) + msOf(used.ru_stime);
    return true;
}

int Process::wait() {
    reap(0);
    return exitStatus_;
}

bool Process::isOver() { return reap(WNOHANG); }

OutputFile::OutputFile() : descriptor_(memfd_create("output", MFD_CLOEXEC)) {
    if (descriptor_ < 0) throw std::runtime_error("no file for a program's output");
}

OutputFile::~OutputFile() { close(descriptor_); }

std::string OutputFile::text() const {
    std::string all;
    std::array<char, 4096> buffer{};
    ssize_t count = 0;
    while ((count = pread(descriptor_, buffer.data(), buffer.size(), static_cast<off_t>(all.size()))) > 0) {
        all.append(buffer.data(), static_cast<size_t>(count));
    }
    return all;
}

Ended runProgram(std::vector<std::string> words, const std::function<void()>& prepare) {
    const OutputFile out;
    const OutputFile err;
    Process process(std::move(words), {out.descriptor(), err.descriptor()}, prepare);
    const int status = process.wait();
    return {status, out.text(), err.text(), process.residentKib(), process.cpuMs()};
}

} // namespace kvxtest
