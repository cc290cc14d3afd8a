// SPDX-License-Identifier: Apache-2.0
#include "audio/tag_process.h"

#include "audio/audio_file.h"
#include "audio/file_tags.h"
#include "base/end_process.h"

#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <fstream>
#include <new>
#include <optional>
#include <sstream>
#include <string>
#include <system_error>
#include <vector>

namespace tarn::server {

namespace {

// An answer is kTags, then one text in each line, none of which holds a line feed; or kProblem, then a reason.
constexpr char kTags = 't';
constexpr char kProblem = 'p';
constexpr int kNoMemory = 3; // exit status
constexpr size_t kMaxMessage = 128 * 1024;

std::string packed(const Tags& tags) {
    std::string text(1, kTags);
    for (const std::string* each : {&tags.title, &tags.artist, &tags.album, &tags.albumArtist}) text += *each + '\n';
    return text + std::to_string(tags.number) + '\n' + std::to_string(tags.year) + '\n';
}

Tags unpacked(const std::string& text) {
    Tags tags;
    std::istringstream lines(text);
    for (std::string* each : {&tags.title, &tags.artist, &tags.album, &tags.albumArtist}) std::getline(lines, *each);
    lines >> tags.number >> tags.year;
    return tags;
}

bool tell(int socket, const std::string& message) {
    return ::send(socket, message.data(), message.size(), MSG_NOSIGNAL) == static_cast<ssize_t>(message.size());
}

// Nothing if the other side has gone.
std::optional<std::string> heard(int socket) {
    std::vector<char> bytes(kMaxMessage);
    ssize_t count = 0;
    while ((count = ::recv(socket, bytes.data(), bytes.size(), 0)) < 0 && errno == EINTR) continue;
    if (count <= 0) return std::nullopt;
    return std::string(bytes.data(), static_cast<size_t>(count));
}

// Bounds memory, beyond what the process has now, and time.
void limit() {
    uint64_t pages = 0;
    std::ifstream("/proc/self/statm") >> pages;
    const rlim_t bytes = pages * static_cast<uint64_t>(::sysconf(_SC_PAGESIZE)) + TagProcess::kMaxBytes;
    const rlimit memory{bytes, bytes};
    const rlimit time{TagProcess::kMaxSeconds, TagProcess::kMaxSeconds + 1};
    const rlimit nothing{0, 0};
    ::setrlimit(RLIMIT_AS, &memory);
    ::setrlimit(RLIMIT_CPU, &time);
    ::setrlimit(RLIMIT_CORE, &nothing);
}

[[noreturn]] void readAndTell(const std::string& path, int socket) {
    std::string answer;
    try {
        limit();
        answer = packed(readTags(path));
    } catch (const std::bad_alloc&) {
        endProcess(kNoMemory);
    } catch (const std::exception& error) {
        answer = kProblem + std::string(error.what());
    }
    endProcess(tell(socket, answer) ? 0 : 1);
}

std::string problemOf(int status) {
    if (WIFSIGNALED(status) && WTERMSIG(status) == SIGXCPU) {
        return "its tags take longer than " + std::to_string(TagProcess::kMaxSeconds) + " s to read";
    }
    if (WIFSIGNALED(status) && WTERMSIG(status) != SIGABRT) {
        return "its tags are damaged: reading them ends with signal " + std::to_string(WTERMSIG(status));
    }
    return "its tags take more than " + std::to_string(TagProcess::kMaxBytes >> 20) + " MiB of memory to read";
}

// The process that reads tags. It has only ever had this thread, so it can be forked for each file.
[[noreturn]] void serve(int socket) {
    constexpr int kPlace = 3;
    ::dup2(socket, kPlace);
    ::close_range(kPlace + 1, ~0U, 0); // most of all, the sockets of the other tag processes
    while (const std::optional<std::string> path = heard(kPlace)) {
        const pid_t child = ::fork();
        if (child == 0) {
            ::prctl(PR_SET_PDEATHSIG, SIGKILL);
            readAndTell(*path, kPlace);
        }
        if (child < 0) {
            tell(kPlace, kProblem + ("its tags cannot be read: " + std::generic_category().message(errno)));
            continue;
        }
        int status = 0;
        while (::waitpid(child, &status, 0) < 0 && errno == EINTR) continue;
        if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) tell(kPlace, kProblem + problemOf(status));
    }
    endProcess(0);
}

} // namespace

TagProcess::TagProcess() {
    std::array<int, 2> ends{};
    if (::socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends.data()) != 0) {
        throw std::system_error(errno, std::generic_category(), "no socket for reading tags");
    }
    process_ = ::fork();
    if (process_ == 0) serve(ends[1]);
    const int error = errno;
    ::close(ends[1]);
    if (process_ < 0) {
        ::close(ends[0]);
        throw std::system_error(error, std::generic_category(), "no process for reading tags");
    }
    socket_ = ends[0];
}

TagProcess::~TagProcess() {
    ::close(socket_);
    while (::waitpid(process_, nullptr, 0) < 0 && errno == EINTR) continue;
}

Tags TagProcess::read(const std::filesystem::path& path) {
    const std::string question = path.string();
    std::optional<std::string> answer;
    if (question.size() < kMaxMessage && tell(socket_, question)) answer = heard(socket_);
    if (!answer) throw AudioError("its tags cannot be read: the process that reads tags has ended; run this again");
    if (answer->front() != kTags) throw AudioError(answer->substr(1));
    return unpacked(answer->substr(1));
}

} // namespace tarn::server
