// SPDX-License-Identifier: Apache-2.0
#include "audio/media_process.h"

#include "audio/audio_error.h"
#include "audio/reading_server.h"
#include "base/text.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <system_error>
#include <type_traits>

namespace tarn::server {

MediaProcess::MediaProcess() {
    std::array<int, 2> ends{};
    if (::socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends.data()) != 0) {
        throw std::system_error(errno, std::generic_category(), "no socket for reading files");
    }
    const FileDescriptor nothing(::open("/dev/null", O_RDWR | O_CLOEXEC));
    if (nothing.isOpen()) process_ = ::fork();
    if (process_ == 0) serveReading(ends[1], ring_, nothing.get());
    const int error = errno;
    ::close(ends[1]);
    if (process_ < 0) {
        ::close(ends[0]);
        throw std::system_error(error, std::generic_category(), "no process for reading files");
    }
    socket_ = ends[0];
}

MediaProcess::~MediaProcess() {
    ::close(socket_);
    while (::waitpid(process_, nullptr, 0) < 0 && errno == EINTR) continue;
}

MediaFile::MediaFile(MediaProcess& process, const std::filesystem::path& path, const Wanted& wanted)
    : process_(process), path_(path), file_(openAudio(path)) {
    try {
        if (wanted.tags) readTags();
        if (wanted.samples) openSamples(wanted);
    } catch (...) {
        finish();
        throw;
    }
    file_ = FileDescriptor();
    hasTitle_ = !tags_.title.empty();
    if (wanted.tags && !hasTitle_) tags_.title = cleanText(path.stem().string());
}

MediaFile::~MediaFile() { finish(); }

void MediaFile::readTags() {
    request_ = {};
    ask();
    readHead();
    finish();
}

void MediaFile::openSamples(const Wanted& wanted) {
    request_ = {true, false, wanted.startMs, wanted.maxMs};
    ended_ = false;
    ask();
    readHead();
    if (!unknownFormat_) return;
    const std::string reason = frameText();
    finish();
    openByFfmpeg(reason);
}

void MediaFile::openByFfmpeg(const std::string& reason) {
    unknownFormat_ = false;
    request_.byFfmpeg = true;
    ask();
    try {
        readHead();
    } catch (const FfmpegMissing& error) {
        throw AudioError(reason + "; " + error.what());
    }
    if (unknownFormat_) throw AudioError(reason + "; FFmpeg does not know it either");
}

void MediaFile::ask() {
    std::array<int, 2> ends{};
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()) != 0) {
        throw AudioError("it cannot be read: " + std::generic_category().message(errno));
    }
    channel_ = FileDescriptor(ends[0]);
    const FileDescriptor writing(ends[1]);
    asked_ = sendRequest(process_.socket_, request_, path_.filename().string(), file_.get(), writing.get());
    if (!asked_) throwEnded();
}

void MediaFile::throwEnded() {
    throw AudioError("it cannot be read: the process that reads files has ended; run this again");
}

void MediaFile::readHead() {
    while (receive()) {
        switch (frame_.kind) {
        case FrameKind::kTags:
            takeTags();
            break;
        case FrameKind::kFormat:
            format_ = unpackedFormat({frame_.payload.data(), frame_.payload.size()});
            return;
        case FrameKind::kUnknownFormat:
            unknownFormat_ = true;
            return;
        case FrameKind::kEnd:
            ended_ = true;
            if (request_.samples) throw AudioError("it holds no audio");
            return;
        default:
            throw AudioError("the decoder gives samples before their format");
        }
    }
}

// The tag library's come first; the container's fill what it has not found.
void MediaFile::takeTags() {
    const Tags more = unpackedTags({frame_.payload.data(), frame_.payload.size()});
    const auto fill = [](auto& value, const auto& other) {
        if (value == std::remove_cvref_t<decltype(value)>()) value = other;
    };
    fill(tags_.title, more.title);
    fill(tags_.artist, more.artist);
    fill(tags_.album, more.album);
    fill(tags_.albumArtist, more.albumArtist);
    fill(tags_.number, more.number);
    fill(tags_.year, more.year);
}

// Not trusted: it comes from the process that reads the file.
std::string MediaFile::frameText() const { return cleanText({frame_.payload.data(), frame_.payload.size()}); }

// The next frame. A problem, and an end without a word, are thrown.
bool MediaFile::receive() {
    if (!receiveFrame(channel_.get(), frame_)) throwVerdict();
    if (frame_.kind == FrameKind::kProblem) throw AudioError(frameText());
    return true;
}

std::span<const int16_t> MediaFile::read() {
    if (ended_) return {};
    handBackSlots();
    receive();
    if (frame_.kind == FrameKind::kEnd) {
        ended_ = true;
        return {};
    }
    if (frame_.kind != FrameKind::kSamples) throw AudioError("the decoder gives no samples");
    const size_t count = unpackedCount({frame_.payload.data(), frame_.payload.size()}, format_.channels);
    framesRead_ += count / static_cast<size_t>(format_.channels);
    return process_.ring_.slot(turn_++).first(count);
}

// Those of the pieces that were read before, half of the ring together.
void MediaFile::handBackSlots() {
    const char done = 1;
    if (turn_ > 0 && turn_ % SampleRing::kReturnedTogether == 0) ::send(channel_.get(), &done, 1, MSG_NOSIGNAL);
}

void MediaFile::throwVerdict() {
    channel_ = FileDescriptor();
    asked_ = false;
    const std::optional<Verdict> verdict = receiveVerdict(process_.socket_);
    if (!verdict) throwEnded();
    if (verdict->ffmpegMissing) throw FfmpegMissing(verdict->problem);
    if (!verdict->problem.empty()) throw AudioError("it cannot be read: " + verdict->problem);
    throw AudioError(problemOf(verdict->status, request_));
}

void MediaFile::finish() {
    channel_ = FileDescriptor(); // a process that is not done ends at its next frame
    if (asked_) receiveVerdict(process_.socket_);
    asked_ = false;
}

Tags readTags(MediaProcess& process, const std::filesystem::path& path) {
    MediaFile::Wanted wanted;
    wanted.tags = true;
    return MediaFile(process, path, wanted).tags();
}

} // namespace tarn::server
