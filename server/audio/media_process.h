// SPDX-License-Identifier: Apache-2.0
// Reads audio files in a process of their own. A file of half a megabyte can make a library unpack gigabytes, and a
// library for many formats can fail in many places. Each file has a process with bounded memory and time that can
// reach nothing else, so a bad file costs only itself.
#pragma once

#include "audio/media_child.h"
#include "audio/media_frames.h"
#include "audio/sample_ring.h"
#include "base/file_descriptor.h"

#include <filesystem>
#include <span>
#include <string>
#include <sys/types.h>

namespace tarn::server {

// The process from which the reading processes are forked. It reads one file at a time; a thread that reads files has
// one of its own.
class MediaProcess {
  public:
    // Make it before the program has other threads. Throws std::system_error.
    MediaProcess();
    ~MediaProcess();
    MediaProcess(const MediaProcess&) = delete;
    MediaProcess& operator=(const MediaProcess&) = delete;

  private:
    friend class MediaFile;
    SampleRing ring_;
    int socket_ = -1; // one message for each request and verdict
    pid_t process_ = -1;
};

// One file, read piece by piece.
class MediaFile {
  public:
    struct Wanted {
        bool tags = false;
        bool samples = false;
        uint64_t startMs = 0;        // where samples begin
        uint64_t maxMs = UINT64_MAX; // of samples
    };

    // process: must outlive this and reads nothing else as long. FFmpeg reads what libsndfile does not know. Tags come
    // first: a file whose tags are refused is not decoded. Throws AudioError.
    MediaFile(MediaProcess& process, const std::filesystem::path& path, const Wanted& wanted);
    ~MediaFile();
    MediaFile(const MediaFile&) = delete;
    MediaFile& operator=(const MediaFile&) = delete;

    // If wanted. Without a title in the file, it is the file's name without its extension.
    const Tags& tags() const { return tags_; }
    bool hasTitle() const { return hasTitle_; }
    int rateHz() const { return format_.rateHz; }
    int channels() const { return format_.channels; }
    uint64_t statedMs() const { return format_.statedMs; }
    bool lossless() const { return format_.lossless != 0; }
    // The next piece, channels interleaved, valid until the next call; empty at the end, or where as much as was wanted
    // is read. Throws AudioError if the file is damaged, and if reading takes too much or ends its process.
    std::span<const int16_t> read();
    uint64_t framesRead() const { return framesRead_; }

  private:
    void ask();
    void readTags();
    void openSamples(const Wanted& wanted);
    void openByFfmpeg(const std::string& reason);
    // Up to the first samples, or the end without them.
    void readHead();
    void takeTags();
    bool receive();
    std::string frameText() const;
    void finish();
    void handBackSlots();
    [[noreturn]] void throwVerdict();
    [[noreturn]] static void throwEnded();

    MediaProcess& process_;
    std::filesystem::path path_;
    FileDescriptor file_;
    FileDescriptor channel_;
    bool asked_ = false; // and no verdict yet
    bool unknownFormat_ = false;
    bool ended_ = false;
    MediaRequest request_;
    Tags tags_;
    bool hasTitle_ = false;
    AudioFormat format_;
    Frame frame_;
    uint64_t turn_ = 0; // of the next slot
    uint64_t framesRead_ = 0;
};

// As tags() of a file of which nothing else is wanted.
Tags readTags(MediaProcess& process, const std::filesystem::path& path);

} // namespace tarn::server
