// SPDX-License-Identifier: Apache-2.0
// A program run to its end, from outside.
#pragma once

#include "server/accounts/private_files.h"

#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <functional>
#include <stdexcept>
#include <string>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace servertest {

struct Ended {
    int status = -1; // the exit status; -1: a signal ended it
    std::string out;
    std::string err;
    long residentKib = 0; // at its peak, of its largest process
};

// The server program: the one built beside the tests, or another build of it.
inline std::string serverProgram() {
    const char* other = std::getenv("TARN_SERVER_UNDER_TEST");
    return other == nullptr ? TARN_SERVER_TOOL : other;
}

// Built with sanitizers, whose own memory and descriptors come on top of the program's.
inline bool isSanitized() {
#ifdef __SANITIZE_ADDRESS__
    return std::getenv("TARN_SERVER_UNDER_TEST") == nullptr;
#else
    return false;
#endif
}

// folder: for what it prints. prepare runs in the child before the program starts.
inline Ended runProgram(
    std::vector<std::string> words, const std::filesystem::path& folder, const std::function<void()>& prepare = [] {}) {
    const std::filesystem::path out = folder / "stdout";
    const std::filesystem::path err = folder / "stderr";
    constexpr int kMode = 0600;
    const int outFile = open(out.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, kMode);
    const int errFile = open(err.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, kMode);
    if (outFile < 0 || errFile < 0) throw std::runtime_error("no files for the output");
    std::vector<char*> pointers;
    for (std::string& word : words) pointers.push_back(word.data());
    pointers.push_back(nullptr);
    const pid_t child = fork();
    if (child == 0) {
        dup2(outFile, STDOUT_FILENO);
        dup2(errFile, STDERR_FILENO);
        prepare();
        execv(pointers[0], pointers.data());
        _exit(127);
    }
    close(outFile);
    close(errFile);
    int status = 0;
    rusage used{};
    wait4(child, &status, 0, &used);
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, contents(out), contents(err), used.ru_maxrss};
}

} // namespace servertest
