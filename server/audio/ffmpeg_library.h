// SPDX-License-Identifier: Apache-2.0
// FFmpeg's libraries, loaded only when a file needs them: no program links them, and all work without them.
#pragma once

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/avutil.h>
}

#include <string>

namespace tarn::server {

// What the decoder calls, each function by the name that the library gives it.
struct FfmpegLibrary {
// clang-format off
#define TARN_FFMPEG_FUNCTIONS(each) \
    each(format, avformat_alloc_context) \
    each(format, avformat_open_input) \
    each(format, avformat_find_stream_info) \
    each(format, avformat_close_input) \
    each(format, avformat_seek_file) \
    each(format, av_find_best_stream) \
    each(format, av_read_frame) \
    each(format, avio_alloc_context) \
    each(format, avio_context_free) \
    each(codec, avcodec_alloc_context3) \
    each(codec, avcodec_parameters_to_context) \
    each(codec, avcodec_open2) \
    each(codec, avcodec_send_packet) \
    each(codec, avcodec_receive_frame) \
    each(codec, avcodec_flush_buffers) \
    each(codec, avcodec_free_context) \
    each(codec, av_packet_alloc) \
    each(codec, av_packet_free) \
    each(codec, av_packet_unref) \
    each(util, av_malloc) \
    each(util, av_freep) \
    each(util, av_frame_alloc) \
    each(util, av_frame_free) \
    each(util, av_strerror) \
    each(util, av_log_set_level) \
    each(util, av_dict_get)
// clang-format on
#define TARN_FFMPEG_POINTER(library, name) decltype(&::name) name = nullptr; // NOLINT: it is a name
    TARN_FFMPEG_FUNCTIONS(TARN_FFMPEG_POINTER)
#undef TARN_FFMPEG_POINTER

    // The libraries of the versions that this was built for. Once loaded, they stay. Throws std::runtime_error, whose
    // text says what to install.
    static const FfmpegLibrary& load();
};

} // namespace tarn::server
