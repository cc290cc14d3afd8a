// SPDX-License-Identifier: Apache-2.0
#include "audio/ffmpeg_library.h"

#include <dlfcn.h>

#include <stdexcept>

namespace tarn::server {

namespace {

#define TARN_AS_TEXT(value) #value
#define TARN_TEXT_OF(macro) TARN_AS_TEXT(macro)
#define TARN_SONAME(library, major) library ".so." TARN_TEXT_OF(major)

[[noreturn]] void notThere(const std::string& missing) {
    throw std::runtime_error(
        "FFmpeg, which reads more formats, is not installed (" + missing +
        "); install it (Debian: apt-get install libavformat" TARN_TEXT_OF(LIBAVFORMAT_VERSION_MAJOR) ")");
}

void* opened(const char* name) {
    void* library = ::dlopen(name, RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr) notThere(name);
    return library;
}

template <class Function>
void find(void* library, const char* name, Function& function) {
    void* address = ::dlsym(library, name);
    if (address == nullptr) notThere(name);
    function = reinterpret_cast<Function>(address); // NOLINT: POSIX says that this is a function's address
}

FfmpegLibrary loaded() {
    void* format = opened(TARN_SONAME("libavformat", LIBAVFORMAT_VERSION_MAJOR));
    void* codec = opened(TARN_SONAME("libavcodec", LIBAVCODEC_VERSION_MAJOR));
    void* util = opened(TARN_SONAME("libavutil", LIBAVUTIL_VERSION_MAJOR));
    FfmpegLibrary library;
#define TARN_FFMPEG_FIND(from, name) find(from, #name, library.name);
    TARN_FFMPEG_FUNCTIONS(TARN_FFMPEG_FIND)
#undef TARN_FFMPEG_FIND
    library.av_log_set_level(AV_LOG_QUIET);
    return library;
}

} // namespace

const FfmpegLibrary& FfmpegLibrary::load() {
    static const FfmpegLibrary kLibrary = loaded();
    return kLibrary;
}

} // namespace tarn::server
