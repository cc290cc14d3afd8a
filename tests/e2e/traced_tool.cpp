// SPDX-License-Identifier: Apache-2.0
#include "e2e/traced_tool.h"

#include <cerrno>
#include <csignal>
#include <cstring>
#include <elf.h>
#include <fcntl.h>
#include <fstream>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <sys/ptrace.h>
#include <sys/types.h>
#include <sys/uio.h>
#include <sys/wait.h>
#include <unistd.h>

namespace kvxtest {
namespace {

constexpr int kStoppedAtExit = SIGTRAP | PTRACE_EVENT_EXIT << 8;

[[noreturn]] void fail(const std::string& what) { throw std::runtime_error(what + ": " + std::strerror(errno)); }

// A file that a program's output goes to; the program has a descriptor of its own.
class Target {
  public:
    explicit Target(const std::string& path)
        : descriptor_(open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600)) {
        if (descriptor_ < 0) fail(path);
    }
    ~Target() { close(descriptor_); }
    Target(const Target&) = delete;
    Target& operator=(const Target&) = delete;

    int descriptor() const { return descriptor_; }

  private:
    int descriptor_;
};

std::vector<std::string> wordsOf(const std::string& program, const std::vector<std::string>& arguments) {
    std::vector<std::string> words = {program};
    words.insert(words.end(), arguments.begin(), arguments.end());
    return words;
}

// The signal and event that stopped it; nothing: it has ended, and is not waited for here.
std::optional<int> stopOf(pid_t process) {
    siginfo_t info{};
    if (waitid(P_PID, static_cast<id_t>(process), &info, WEXITED | WSTOPPED | WNOWAIT) != 0) fail("wait");
    if (info.si_code != CLD_TRAPPED && info.si_code != CLD_STOPPED) return std::nullopt;
    int status = 0;
    if (waitpid(process, &status, 0) != process) fail("wait");
    return status >> 8;
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
                       const std::string& outputFile, const std::string& errorsFile)
    : process_(wordsOf(program, arguments), {Target(outputFile).descriptor(), Target(errorsFile).descriptor()},
               [] { ptrace(PTRACE_TRACEME, 0, nullptr, nullptr); }) {
    waitForStop(SIGTRAP); // at its first instruction
    if (ptrace(PTRACE_SETOPTIONS, process_.id(), nullptr, PTRACE_O_EXITKILL | PTRACE_O_TRACEEXIT) != 0) fail("trace");
    resume();
}

TracedTool::~TracedTool() {
    process_.signal(SIGKILL);
    try {
        while (stopOf(process_.id())) ptrace(PTRACE_CONT, process_.id(), nullptr, nullptr); // it stops at its exit, too
    } catch (const std::runtime_error&) {                                                   // it was waited for
        return;
    }
}

Memory TracedTool::memory() {
    process_.signal(SIGSTOP);
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

int TracedTool::exitStatus() { return process_.wait(); }

void TracedTool::waitForStop(int expected) {
    if (stopOf(process_.id()) != expected) throw std::runtime_error("the tool does not stop where it should");
}

void TracedTool::resume() const {
    if (ptrace(PTRACE_CONT, process_.id(), nullptr, nullptr) != 0) fail("resume");
}

Memory TracedTool::readMemory() const {
    const std::string directory = "/proc/" + std::to_string(process_.id());
    const int file = open((directory + "/mem").c_str(), O_RDONLY | O_CLOEXEC);
    if (file < 0) fail("memory");
    Memory memory = {registersOf(process_.id())};
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
