// SPDX-License-Identifier: Apache-2.0
#include "e2e/traced_tool.h"

#include <cerrno>
#include <csignal>
#include <cstring>
#include <elf.h>
#include <fcntl.h>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <sys/ptrace.h>
#include <sys/uio.h>
#include <sys/wait.h>
#include <unistd.h>

namespace kvxtest {
namespace {

constexpr int kStoppedAtExit = SIGTRAP | PTRACE_EVENT_EXIT << 8;

[[noreturn]] void fail(const std::string& what) { throw std::runtime_error(what + ": " + std::strerror(errno)); }

int openForWriting(const std::string& path) {
    const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    if (file < 0) fail(path);
    return file;
}

// Between fork and exec in a process of several threads: system calls alone.
[[noreturn]] void becomeTool(char* const* arguments, int output, int errors) {
    if (dup2(output, STDOUT_FILENO) >= 0 && dup2(errors, STDERR_FILENO) >= 0 &&
        ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) == 0) {
        execv(arguments[0], arguments);
    }
    _exit(127);
}

// The general registers, and on x86 the vector registers: a cipher may work in them.
MemoryRegion registersOf(pid_t process) {
    MemoryRegion region{"registers", true, {}};
#ifdef NT_X86_XSTATE
    constexpr int kSets[] = {NT_PRSTATUS, NT_X86_XSTATE};
#else
    constexpr int kSets[] = {NT_PRSTATUS, NT_PRFPREG};
#endif
    for (const int set : kSets) {
        Bytes bytes(size_t{16} << 10);
        iovec place{bytes.data(), bytes.size()};
        if (ptrace(PTRACE_GETREGSET, process, set, &place) != 0) fail("registers");
        region.bytes.insert(region.bytes.end(), bytes.data(), bytes.data() + place.iov_len);
    }
    return region;
}

} // namespace

TracedTool::TracedTool(const std::string& program, const std::vector<std::string>& arguments,
                       const std::string& outputFile, const std::string& errorsFile) {
    std::vector<std::string> words = {program};
    words.insert(words.end(), arguments.begin(), arguments.end());
    std::vector<char*> pointers;
    pointers.reserve(words.size() + 1);
    for (std::string& word : words) pointers.push_back(word.data());
    pointers.push_back(nullptr);
    const int output = openForWriting(outputFile);
    const int errors = openForWriting(errorsFile);
    process_ = fork();
    if (process_ == 0) becomeTool(pointers.data(), output, errors);
    close(output);
    close(errors);
    if (process_ < 0) fail("fork");
    waitForStop(SIGTRAP); // at its first instruction
    if (ptrace(PTRACE_SETOPTIONS, process_, nullptr, PTRACE_O_EXITKILL | PTRACE_O_TRACEEXIT) != 0) fail("trace");
    resume();
}

TracedTool::~TracedTool() {
    if (!running_) return;
    kill(process_, SIGKILL);
    int status = 0;
    do {
        ptrace(PTRACE_CONT, process_, nullptr, nullptr); // no signal ends the stop at the exit
    } while (waitpid(process_, &status, 0) == process_ && WIFSTOPPED(status));
}

Memory TracedTool::memory() {
    kill(process_, SIGSTOP);
    waitForStop(SIGSTOP);
    Memory memory = readMemory();
    resume();
    return memory;
}

Memory TracedTool::memoryAtExit() {
    waitForStop(kStoppedAtExit);
    Memory memory = readMemory();
    resume();
    return memory;
}

int TracedTool::exitStatus() {
    int status = 0;
    if (running_ && waitpid(process_, &status, 0) == process_) {
        running_ = false;
        if (WIFEXITED(status)) exitStatus_ = WEXITSTATUS(status);
    }
    return exitStatus_;
}

void TracedTool::waitForStop(int expected) {
    int status = 0;
    if (waitpid(process_, &status, 0) != process_) fail("wait");
    running_ = WIFSTOPPED(status);
    if (!running_ || status >> 8 != expected) throw std::runtime_error("the tool does not stop where it should");
}

void TracedTool::resume() const {
    if (ptrace(PTRACE_CONT, process_, nullptr, nullptr) != 0) fail("resume");
}

Memory TracedTool::readMemory() const {
    const std::string directory = "/proc/" + std::to_string(process_);
    const int file = open((directory + "/mem").c_str(), O_RDONLY | O_CLOEXEC);
    if (file < 0) fail("memory");
    Memory memory = {registersOf(process_)};
    std::ifstream maps(directory + "/maps");
    for (std::string line; std::getline(maps, line);) {
        // begin-end rwxp offset device inode name
        std::istringstream fields(line);
        uint64_t begin = 0;
        uint64_t end = 0;
        char dash = 0;
        std::string access;
        std::string ignored;
        MemoryRegion region;
        fields >> std::hex >> begin >> dash >> end >> access >> ignored >> ignored >> ignored >> region.name;
        // The system's own pages for reading the clock are not a process's to read.
        if (access[0] != 'r' || region.name.starts_with("[vvar") || region.name == "[vsyscall]") continue;
        region.isWritable = access[1] == 'w';
        region.bytes.resize(end - begin);
        if (pread(file, region.bytes.data(), region.bytes.size(), static_cast<off_t>(begin)) !=
            static_cast<ssize_t>(region.bytes.size())) {
            fail("reading " + line);
        }
        memory.push_back(std::move(region));
    }
    close(file);
    return memory;
}

} // namespace kvxtest
