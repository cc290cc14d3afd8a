// SPDX-License-Identifier: Apache-2.0
#include "audio/reading_server.h"

#include "audio/confinement.h"
#include "base/end_process.h"

#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <system_error>
#include <type_traits>

namespace tarn::server {

namespace {

constexpr size_t kMaxName = 4096; // a file's name has 255 bytes at most
constexpr size_t kMaxProblem = 1024;
constexpr size_t kDescriptors = 2; // the file and the channel

static_assert(std::is_trivially_copyable_v<MediaRequest>);

struct VerdictHead {
    int status = 0;
    bool ffmpegMissing = false;
};

union Control {
    cmsghdr align;
    std::array<char, CMSG_SPACE(sizeof(int) * kDescriptors)> bytes;
};

struct Request {
    MediaRequest media;
    std::string name;
    FileDescriptor file;
    FileDescriptor channel;
};

msghdr message(iovec& part, Control& control) {
    msghdr message{};
    message.msg_iov = &part;
    message.msg_iovlen = 1;
    message.msg_control = control.bytes.data();
    message.msg_controllen = control.bytes.size();
    return message;
}

// Nothing if the other side has gone.
std::optional<Request> receiveRequest(int socket) {
    std::array<char, sizeof(MediaRequest) + kMaxName> bytes{};
    iovec part{bytes.data(), bytes.size()};
    Control control{};
    msghdr header = message(part, control);
    ssize_t count = 0;
    while ((count = ::recvmsg(socket, &header, MSG_CMSG_CLOEXEC)) < 0 && errno == EINTR) continue;
    const cmsghdr* sent = CMSG_FIRSTHDR(&header);
    if (count < static_cast<ssize_t>(sizeof(MediaRequest)) || sent == nullptr ||
        sent->cmsg_len != CMSG_LEN(sizeof(int) * kDescriptors)) {
        return std::nullopt;
    }
    std::array<int, kDescriptors> descriptors{};
    std::memcpy(descriptors.data(), CMSG_DATA(sent), sizeof descriptors);
    Request request;
    std::memcpy(&request.media, bytes.data(), sizeof request.media);
    request.name.assign(bytes.data() + sizeof request.media, static_cast<size_t>(count) - sizeof request.media);
    request.file = FileDescriptor(descriptors[0]);
    request.channel = FileDescriptor(descriptors[1]);
    return request;
}

void sendVerdict(int socket, const Verdict& verdict) {
    const VerdictHead head{verdict.status, verdict.ffmpegMissing};
    std::string bytes(sizeof head, '\0');
    std::memcpy(bytes.data(), &head, sizeof head);
    bytes += verdict.problem.substr(0, kMaxProblem);
    ::send(socket, bytes.data(), bytes.size(), MSG_NOSIGNAL);
}

Verdict readInAProcess(Request request, int socket, SampleRing& ring) {
    Verdict verdict;
    const FfmpegLibrary* ffmpeg = nullptr;
    try {
        if (request.media.byFfmpeg) ffmpeg = &FfmpegLibrary::load();
    } catch (const std::exception& error) {
        verdict.ffmpegMissing = true;
        verdict.problem = error.what();
        return verdict;
    }
    const pid_t child = ::fork();
    if (child == 0) {
        ::close(socket); // what reads a file speaks through its channel alone
        runMediaChild(request.media, request.name, std::move(request.file), request.channel.get(), ring, ffmpeg);
    }
    if (child < 0) {
        verdict.problem = std::generic_category().message(errno);
        return verdict;
    }
    request.channel = FileDescriptor();
    while (::waitpid(child, &verdict.status, 0) < 0 && errno == EINTR) continue;
    return verdict;
}

// Libraries that decode write what they think to standard error; it is not for users. A sanitizer's report is for
// developers.
void silenceLibraries(int nothing) {
    ::dup2(nothing, STDIN_FILENO);
    ::dup2(nothing, STDOUT_FILENO);
#ifndef __SANITIZE_ADDRESS__
    ::dup2(nothing, STDERR_FILENO);
#endif
}

} // namespace

bool sendRequest(int socket, const MediaRequest& request, const std::string& name, int file, int channel) {
    std::string bytes(sizeof request, '\0');
    std::memcpy(bytes.data(), &request, sizeof request);
    bytes += name.substr(0, kMaxName);
    iovec part{bytes.data(), bytes.size()};
    Control control{};
    msghdr header = message(part, control);
    cmsghdr* sent = CMSG_FIRSTHDR(&header);
    const std::array<int, kDescriptors> descriptors = {file, channel};
    sent->cmsg_level = SOL_SOCKET;
    sent->cmsg_type = SCM_RIGHTS;
    sent->cmsg_len = CMSG_LEN(sizeof descriptors);
    std::memcpy(CMSG_DATA(sent), descriptors.data(), sizeof descriptors);
    return ::sendmsg(socket, &header, MSG_NOSIGNAL) == static_cast<ssize_t>(bytes.size());
}

std::optional<Verdict> receiveVerdict(int socket) {
    std::array<char, sizeof(VerdictHead) + kMaxProblem> bytes{};
    ssize_t count = 0;
    while ((count = ::recv(socket, bytes.data(), bytes.size(), 0)) < 0 && errno == EINTR) continue;
    VerdictHead head;
    if (count < static_cast<ssize_t>(sizeof head)) return std::nullopt;
    std::memcpy(&head, bytes.data(), sizeof head);
    return Verdict{head.status, head.ffmpegMissing,
                   std::string(bytes.data() + sizeof head, static_cast<size_t>(count) - sizeof head)};
}

std::string problemOf(int status, const MediaRequest& request) {
    const std::string takes = request.samples ? "it takes more than " : "its tags take more than ";
    if (WIFSIGNALED(status) && WTERMSIG(status) == SIGPROF) {
        return takes + std::to_string(kMaxStepSeconds) + " s of processor time to read";
    }
    if (WIFSIGNALED(status) && WTERMSIG(status) != SIGABRT) {
        return (request.samples ? "it is damaged" : "its tags are damaged") + std::string(": reading ") +
               (request.samples ? "it" : "them") + " ends with signal " + std::to_string(WTERMSIG(status));
    }
    const size_t most = request.samples ? kMaxDecoderBytes : kMaxTagBytes;
    return takes + std::to_string(most >> 20) + " MiB of memory to read";
}

void serveReading(int socket, SampleRing& ring, int nothing) {
    constexpr int kPlace = 3;
    silenceLibraries(nothing);
    ::dup2(socket, kPlace);
    ::close_range(kPlace + 1, ~0U, 0); // most of all, the sockets of the other such processes
    std::signal(SIGPIPE, SIG_IGN);     // a reader that goes is a failed write
    while (std::optional<Request> request = receiveRequest(kPlace)) {
        sendVerdict(kPlace, readInAProcess(std::move(*request), kPlace, ring));
    }
    endProcess(0);
}

} // namespace tarn::server
