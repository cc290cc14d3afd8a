// SPDX-License-Identifier: Apache-2.0
#include "audio/ffmpeg_file.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <new>

namespace tarn::server {

namespace {

constexpr int kBufferBytes = 64 * 1024;
constexpr int64_t kProbeBytes = int64_t{4} << 20; // for what streams a container holds
constexpr uint32_t kProtected = MKTAG('d', 'r', 'm', 's');
constexpr uint32_t kEncrypted = MKTAG('e', 'n', 'c', 'a');

void mustBe(const void* allocated) {
    if (allocated == nullptr) throw std::bad_alloc();
}

} // namespace

FfmpegFile::FfmpegFile(const FfmpegLibrary& library, FileDescriptor descriptor)
    : library_(library), descriptor_(std::move(descriptor)) {
    struct stat about {};
    if (::fstat(descriptor_.get(), &about) == 0) size_ = about.st_size;
    try {
        openContainer();
        openStream();
    } catch (...) {
        close();
        throw;
    }
}

FfmpegFile::~FfmpegFile() { close(); }

void FfmpegFile::close() {
    library_.av_frame_free(&frame_);
    library_.av_packet_free(&packet_);
    library_.avcodec_free_context(&decoder_);
    library_.avformat_close_input(&container_);
    if (io_ != nullptr) library_.av_freep(&io_->buffer);
    library_.avio_context_free(&io_);
}

int FfmpegFile::readBytes(void* self, uint8_t* buffer, int size) {
    auto& file = *static_cast<FfmpegFile*>(self);
    ssize_t count = 0;
    do {
        count = ::pread(file.descriptor_.get(), buffer, static_cast<size_t>(size), file.place_);
    } while (count < 0 && errno == EINTR);
    if (count < 0) return AVERROR(errno);
    if (count == 0) return AVERROR_EOF;
    file.place_ += count;
    return static_cast<int>(count);
}

int64_t FfmpegFile::moveTo(void* self, int64_t offset, int whence) {
    auto& file = *static_cast<FfmpegFile*>(self);
    if ((whence & AVSEEK_SIZE) != 0) return file.size_;
    const int from = whence & ~AVSEEK_FORCE;
    const int64_t base = from == SEEK_SET ? 0 : from == SEEK_CUR ? file.place_ : file.size_;
    int64_t place = 0;
    if (__builtin_add_overflow(base, offset, &place) || place < 0) return AVERROR(EINVAL);
    file.place_ = place;
    return place;
}

int FfmpegFile::refuseToOpen(AVFormatContext* /*context*/, AVIOContext** /*io*/, const char* /*url*/, int /*flags*/,
                             AVDictionary** /*options*/) {
    return AVERROR(EPERM);
}

void FfmpegFile::fail(const char* what, int error) const {
    std::array<char, AV_ERROR_MAX_STRING_SIZE> text{};
    library_.av_strerror(error, text.data(), text.size());
    throw AudioError(std::string(what) + ": " + text.data());
}

void FfmpegFile::openContainer() {
    auto* buffer = static_cast<uint8_t*>(library_.av_malloc(kBufferBytes));
    mustBe(buffer);
    io_ = library_.avio_alloc_context(buffer, kBufferBytes, 0, this, readBytes, nullptr, moveTo);
    mustBe(io_);
    container_ = library_.avformat_alloc_context();
    mustBe(container_);
    container_->pb = io_;
    container_->flags |= AVFMT_FLAG_CUSTOM_IO;
    container_->io_open = refuseToOpen;
    container_->probesize = kProbeBytes;
    const int opened = library_.avformat_open_input(&container_, "", nullptr, nullptr);
    if (opened == AVERROR(ENOMEM)) throw std::bad_alloc();
    if (opened == AVERROR_INVALIDDATA) throw UnknownFormat("FFmpeg does not know its format");
    if (opened < 0) fail("not readable as audio", opened);
    const int known = library_.avformat_find_stream_info(container_, nullptr);
    if (known < 0) fail("not readable as audio", known);
}

void FfmpegFile::openStream() {
    const AVCodec* codec = nullptr;
    const int index = library_.av_find_best_stream(container_, AVMEDIA_TYPE_AUDIO, -1, -1, &codec, 0);
    for (unsigned i = 0; i < container_->nb_streams; ++i) {
        AVStream& stream = *container_->streams[i];
        if (static_cast<int>(i) != index) stream.discard = AVDISCARD_ALL;
        const uint32_t tag = stream.codecpar->codec_tag;
        if (tag == kProtected || tag == kEncrypted) {
            throw AudioError("its audio is encrypted (DRM); use a copy that is not");
        }
    }
    if (index == AVERROR_DECODER_NOT_FOUND) throw AudioError("FFmpeg has no decoder for its audio");
    if (index < 0)
        throw AudioError(container_->nb_streams > 0 ? "it holds no audio, only pictures or texts"
                                                    : "it holds no audio");
    stream_ = container_->streams[index];
    decoder_ = library_.avcodec_alloc_context3(codec);
    packet_ = library_.av_packet_alloc();
    frame_ = library_.av_frame_alloc();
    mustBe(decoder_);
    mustBe(packet_);
    mustBe(frame_);
    decoder_->thread_count = 1;
    decoder_->pkt_timebase = stream_->time_base;
    const int taken = library_.avcodec_parameters_to_context(decoder_, stream_->codecpar);
    if (taken < 0) fail("its audio cannot be decoded", taken);
    const int opened = library_.avcodec_open2(decoder_, codec, nullptr);
    if (opened < 0) fail("its audio cannot be decoded", opened);
}

uint64_t FfmpegFile::statedMs() const {
    const int64_t duration = container_->duration;
    return duration == AV_NOPTS_VALUE || duration < 0 ? 0 : static_cast<uint64_t>(duration) * 1000 / AV_TIME_BASE;
}

bool FfmpegFile::lengthIsCertain() const {
    return container_->duration_estimation_method == AVFMT_DURATION_FROM_STREAM;
}

std::string FfmpegFile::tag(const char* name) const {
    for (const AVDictionary* from : {container_->metadata, stream_->metadata}) {
        const AVDictionaryEntry* entry = library_.av_dict_get(from, name, nullptr, 0);
        if (entry != nullptr && entry->value != nullptr && *entry->value != '\0') return entry->value;
    }
    return {};
}

int64_t FfmpegFile::seek(uint64_t ms) {
    const AVRational base = stream_->time_base;
    const int64_t start = stream_->start_time == AV_NOPTS_VALUE ? 0 : stream_->start_time;
    const auto place = start + static_cast<int64_t>(static_cast<double>(ms) / 1000 * base.den / std::max(base.num, 1));
    if (library_.avformat_seek_file(container_, stream_->index, INT64_MIN, place, place, 0) < 0) {
        throw AudioError("it cannot be read from its middle");
    }
    library_.avcodec_flush_buffers(decoder_);
    peeked_ = false;
    atEnd_ = false;
    return place;
}

// Of the codecs that have both kinds, WavPack is used for lossless files, DTS and others for lossy ones.
bool FfmpegFile::lossless() const {
    const AVCodecDescriptor* codec = decoder_->codec_descriptor;
    if (codec == nullptr || (codec->props & AV_CODEC_PROP_LOSSLESS) == 0) return false;
    return (codec->props & AV_CODEC_PROP_LOSSY) == 0 || codec->id == AV_CODEC_ID_WAVPACK;
}

const AVFrame* FfmpegFile::nextFrame(uint64_t& badPackets) {
    if (peeked_) {
        peeked_ = false;
        return frame_;
    }
    for (;;) {
        const int got = library_.avcodec_receive_frame(decoder_, frame_);
        if (got == 0 && frame_->nb_samples > 0) return frame_;
        if (got == AVERROR_EOF || (got < 0 && atEnd_)) return nullptr;
        if (got == AVERROR(ENOMEM)) throw std::bad_alloc();
        if (got < 0 && got != AVERROR(EAGAIN)) ++badPackets;
        if (got == 0) continue;
        int read = 0;
        do {
            library_.av_packet_unref(packet_);
            read = library_.av_read_frame(container_, packet_);
        } while (read == 0 && packet_->stream_index != stream_->index);
        if (read == AVERROR(ENOMEM)) throw std::bad_alloc();
        if (read == AVERROR(EIO)) fail("its audio cannot be read", read);
        atEnd_ = read < 0;
        const int sent = library_.avcodec_send_packet(decoder_, atEnd_ ? nullptr : packet_);
        if (sent == AVERROR(ENOMEM)) throw std::bad_alloc();
        if (sent < 0) ++badPackets;
    }
}

const AVFrame* FfmpegFile::peekFrame(uint64_t& badPackets) {
    const AVFrame* frame = nextFrame(badPackets);
    peeked_ = frame != nullptr;
    return frame;
}

} // namespace tarn::server
