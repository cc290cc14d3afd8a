// SPDX-License-Identifier: Apache-2.0
#include "audio/media_child.h"

#include "audio/confinement.h"
#include "audio/ffmpeg_decoder.h"
#include "audio/file_tags.h"
#include "audio/media_frames.h"
#include "audio/sndfile_decoder.h"
#include "base/end_process.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <new>
#include <optional>

namespace tarn::server {

namespace {

// Whoever asked has gone, which happens when it has enough.
class NobodyReads {};

class MediaChild {
  public:
    MediaChild(const MediaRequest& request, int channel, SampleRing& ring)
        : request_(request), channel_(channel), ring_(ring) {}

    void sendTags(const Tags& tags) { send(FrameKind::kTags, packedTags(tags)); }

    void sendSamples(AudioDecoder& decoder) {
        if (request_.startMs > 0) decoder.startAt(request_.startMs);
        send(FrameKind::kFormat, packedFormat({decoder.rateHz(), static_cast<int16_t>(decoder.channels()),
                                               static_cast<int16_t>(decoder.lossless() ? 1 : 0), decoder.statedMs()}));
        const auto rate = static_cast<uint64_t>(decoder.rateHz());
        const auto channels = static_cast<uint64_t>(decoder.channels());
        const uint64_t longest = AudioDecoder::kMaxSeconds * 1000;
        const uint64_t wanted = std::min(request_.maxMs, longest) * rate / 1000 * channels;
        uint64_t given = 0;
        for (;;) {
            startStep();
            const std::span<const int16_t> piece = decoder.read();
            if (piece.empty()) break;
            if (given == wanted) {
                if (request_.maxMs >= longest)
                    throw AudioError("it is longer than a day, the most that a recording may last");
                break;
            }
            const std::span<const int16_t> taken = piece.first(std::min<uint64_t>(piece.size(), wanted - given));
            fillSlots(taken);
            given += taken.size();
            if (given == wanted && request_.maxMs < longest) break;
        }
        sendSlot();
    }

    void send(FrameKind kind, std::string_view payload) {
        if (!sendFrame(channel_, kind, payload)) throw NobodyReads();
    }

  private:
    // Slots are sent when they are full.
    void fillSlots(std::span<const int16_t> samples) {
        while (!samples.empty()) {
            if (filled_ == 0 && free_ == 0) awaitSlots();
            const std::span<int16_t> room = ring_.slot(turn_).subspan(filled_);
            const std::span<const int16_t> part = samples.first(std::min(samples.size(), room.size()));
            std::copy(part.begin(), part.end(), room.begin());
            filled_ += part.size();
            samples = samples.subspan(part.size());
            if (filled_ == SampleRing::kSlotSamples) sendSlot();
        }
    }

    void sendSlot() {
        if (filled_ == 0) return;
        send(FrameKind::kSamples, packedCount(filled_));
        filled_ = 0;
        ++turn_;
        --free_;
    }

    // The reader sends a byte for each half of the ring that it is done with.
    void awaitSlots() {
        char done = 0;
        ssize_t count = 0;
        while ((count = ::read(channel_, &done, 1)) < 0 && errno == EINTR) continue;
        if (count <= 0) throw NobodyReads();
        free_ += SampleRing::kReturnedTogether;
    }

    const MediaRequest& request_;
    int channel_;
    SampleRing& ring_;
    uint64_t turn_ = 0;
    size_t filled_ = 0; // of the slot of this turn
    size_t free_ = SampleRing::kSlots;
};

void readFile(const MediaRequest& request, const std::string& name, FileDescriptor file, MediaChild& child,
              const FfmpegLibrary* ffmpeg) {
#ifndef TARN_COVERAGE // whose counters are files that are written at the end
    confineThisProcess(request.samples ? kMaxDecoderBytes : kMaxTagBytes);
#endif
    startStep();
    if (ffmpeg != nullptr) {
        FfmpegDecoder decoder(*ffmpeg, std::move(file));
        child.sendTags(decoder.tags());
        child.sendSamples(decoder);
    } else if (!request.samples) {
        child.sendTags(readTags(file.get(), name));
    } else {
        SndfileDecoder decoder(std::move(file));
        child.sendSamples(decoder);
    }
    child.send(FrameKind::kEnd, {});
}

} // namespace

void runMediaChild(const MediaRequest& request, const std::string& name, FileDescriptor file, int channel,
                   SampleRing& ring, const FfmpegLibrary* ffmpeg) {
    MediaChild child(request, channel, ring);
    try {
        readFile(request, name, std::move(file), child, ffmpeg);
    } catch (const NobodyReads&) {
        endProcess(0);
    } catch (const UnknownFormat& error) {
        sendFrame(channel, FrameKind::kUnknownFormat, error.what());
    } catch (const std::bad_alloc&) {
        endProcess(kChildOutOfMemory);
    } catch (const std::exception& error) {
        sendFrame(channel, FrameKind::kProblem, error.what());
    }
    endProcess(0);
}

} // namespace tarn::server
