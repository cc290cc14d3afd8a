// SPDX-License-Identifier: Apache-2.0
#include "audio/audio_error.h"

#include "audio/audio_decoder.h"

#include <cerrno>
#include <fcntl.h>
#include <string>
#include <system_error>

namespace tarn::server {

void expectFile(const std::filesystem::path& path) {
    std::error_code error;
    const std::filesystem::file_status status = std::filesystem::status(path, error);
    if (status.type() == std::filesystem::file_type::not_found) throw AudioError("there is no such file");
    if (error) throw AudioError(error.message());
    if (!std::filesystem::is_regular_file(status)) throw AudioError("it is not a regular file");
    if (std::filesystem::file_size(path, error) == 0 && !error) throw AudioError("the file is empty");
}

FileDescriptor openAudio(const std::filesystem::path& path) {
    expectFile(path);
    FileDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    if (!file.isOpen()) throw AudioError(std::generic_category().message(errno));
    return file;
}

void expectRate(int64_t rateHz) {
    const auto refused = [rateHz](const char* where, int limit, const char* why) {
        return AudioError("its rate of " + std::to_string(rateHz) + " Hz is " + where + " the " +
                          std::to_string(limit) + " Hz that " + why);
    };
    if (rateHz < AudioDecoder::kMinRateHz) throw refused("below", AudioDecoder::kMinRateHz, "recognition needs");
    if (rateHz > AudioDecoder::kMaxRateHz) throw refused("above", AudioDecoder::kMaxRateHz, "audio may have");
}

} // namespace tarn::server
