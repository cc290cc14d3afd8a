// SPDX-License-Identifier: Apache-2.0
#include "e2e/tool.h"

#include "TarnInterface.h"
#include "platform/linux/system_services.h"
#include "support/access_keys.h"
#include "support/handles.h"
#include "support/temporary_directory.h"

#include <cerrno>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <map>
#include <poll.h>
#include <spawn.h>
#include <stdexcept>
#include <sys/wait.h>
#include <tuple>
#include <unistd.h>

namespace kvxtest {
namespace {

constexpr int kPatienceMs = 90'000; // longer than the tool itself waits for a silent server

struct Pipe {
    Pipe() {
        if (pipe2(ends, O_CLOEXEC) != 0) throw std::runtime_error("no pipe");
    }
    ~Pipe() {
        closeEnd(0);
        closeEnd(1);
    }
    Pipe(const Pipe&) = delete;
    Pipe& operator=(const Pipe&) = delete;
    void closeEnd(int which) {
        if (ends[which] >= 0) close(ends[which]);
        ends[which] = -1;
    }
    int ends[2];
};

// Appends what is there; false at the end.
bool drain(int descriptor, std::string& text) {
    char buffer[4096];
    const ssize_t count = read(descriptor, buffer, sizeof buffer);
    if (count > 0) text.append(buffer, static_cast<size_t>(count));
    return count > 0 || (count < 0 && errno == EINTR);
}

// Reads both until both end; false when that takes too long.
bool readBoth(Pipe& output, Pipe& errors, ToolResult& result) {
    bool outputOpen = true;
    bool errorsOpen = true;
    while (outputOpen || errorsOpen) {
        pollfd ready[] = {{outputOpen ? output.ends[0] : -1, POLLIN, 0}, {errorsOpen ? errors.ends[0] : -1, POLLIN, 0}};
        if (poll(ready, 2, kPatienceMs) == 0) return false;
        if (ready[0].revents != 0) outputOpen = drain(output.ends[0], result.output);
        if (ready[1].revents != 0) errorsOpen = drain(errors.ends[0], result.errors);
    }
    return true;
}

TemporaryDirectory& scratch() {
    static TemporaryDirectory directory;
    return directory;
}

// Without an identity no recognition succeeds, and every test would fail for a reason that it does not show.
class NeedsAnIdentity : public ::testing::Environment {
  public:
    void SetUp() override {
        if (!deviceId()) {
            FAIL() << "No network interface of this machine has a hardware address that identifies it: the tool "
                      "cannot recognise anything here. Run these tests where there is an Ethernet or Wi-Fi interface.";
        }
    }
};
[[maybe_unused]] const auto* const environment = ::testing::AddGlobalTestEnvironment(new NeedsAnIdentity);

} // namespace

ToolResult runTool(const std::vector<std::string>& arguments, const std::string& otherProgram) {
    Pipe output;
    Pipe errors;
    const pid_t process = startTool(arguments, output.ends[1], errors.ends[1], otherProgram);
    output.closeEnd(1);
    errors.closeEnd(1);

    ToolResult result;
    if (!readBoth(output, errors, result)) kill(process, SIGKILL);
    result.exitStatus = exitStatusOf(process);
    return result;
}

pid_t startTool(const std::vector<std::string>& arguments, int output, int errors, const std::string& otherProgram) {
    std::string program = otherProgram.empty() ? TARN_TOOL : otherProgram;
    std::vector<std::string> copies = arguments;
    std::vector<char*> pointers = {program.data()};
    for (std::string& argument : copies) pointers.push_back(argument.data());
    pointers.push_back(nullptr);

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, output, STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions, errors, STDERR_FILENO);
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    sigset_t ordinary;
    sigemptyset(&ordinary);
    sigaddset(&ordinary, SIGPIPE);
    posix_spawnattr_setsigdefault(&attributes, &ordinary);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF);
    pid_t process = 0;
    const int status = posix_spawn(&process, program.c_str(), &actions, &attributes, pointers.data(), environ);
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&actions);
    if (status != 0) throw std::runtime_error("cannot start " + program);
    return process;
}

int exitStatusOf(pid_t process) {
    int ended = 0;
    while (waitpid(process, &ended, 0) < 0 && errno == EINTR) continue;
    return WIFEXITED(ended) ? WEXITSTATUS(ended) : -1;
}

namespace {

// Matches the beginning of text against a pattern in which '0' stands for one digit and '+' for digits as many as there
// are; returns the length of what matched, 0 for none.
size_t matchedLength(const std::string& text, std::string_view pattern) {
    const auto isDigit = [&](size_t at) { return at < text.size() && text[at] >= '0' && text[at] <= '9'; };
    size_t at = 0;
    for (const char expected : pattern) {
        if (expected == '+') {
            if (!isDigit(at)) return 0;
            while (isDigit(at)) ++at;
        } else if (expected == '0' ? isDigit(at) : at < text.size() && text[at] == expected) {
            ++at;
        } else {
            return 0;
        }
    }
    return at;
}

size_t logPrefixLength(const std::string& line) { return matchedLength(line, "0000-00-00 00:00:00.000 tarn[+:+] "); }

} // namespace

std::vector<std::string> logTexts(const std::string& errors) {
    std::vector<std::string> texts;
    for (size_t at = 0; at < errors.size();) {
        const size_t end = errors.find('\n', at);
        EXPECT_NE(end, std::string::npos) << "the last line has no end: " << errors.substr(at);
        const std::string line = errors.substr(at, end == std::string::npos ? end : end - at);
        if (const size_t prefix = logPrefixLength(line); prefix != 0) {
            texts.push_back(line.substr(prefix));
        } else if (texts.empty()) {
            ADD_FAILURE() << "not a log line: " << line;
        } else {
            texts.back() += "\n" + line;
        }
        at = end == std::string::npos ? errors.size() : end + 1;
    }
    return texts;
}

std::string freshKey(int encryptionMethod, int checksumMethod, int64_t secondsOld) {
    return accessKeyFor(accessCode(encryptionMethod, checksumMethod), secondsOld);
}

std::string scratchFile(const std::string& name) { return scratch().file(name); }

std::string soundFile(const WavOptions& options) {
    static std::map<std::tuple<int, int, int, int>, std::string> made;
    std::string& path = made[{options.channels, options.rateHz, options.lengthMs, options.startMs}];
    if (path.empty()) {
        path = scratchFile("sound" + std::to_string(made.size()) + ".wav");
        writeFile(path, wavFile(options));
    }
    return path;
}

std::optional<std::string> deviceId() {
    tarn::SystemServices system;
    tarn::ErrorSlot refused; // no key is needed to be told apart
    const tarn::TarnInterface client(system.services(), "", "", "h", 0, false, refused);
    return client.deviceId();
}

Script answering(const std::string& answer) { return {receiveRequest(), send(answer)}; }

Recognition recognise(std::vector<Script> scripts, const std::string& path) {
    LoopbackServer server(std::move(scripts));
    Recognition recognition;
    recognition.host = server.host();
    recognition.result = runTool({freshKey(), server.host(), path});
    recognition.log = logTexts(recognition.result.errors);
    recognition.requests = server.requests();
    return recognition;
}

} // namespace kvxtest
