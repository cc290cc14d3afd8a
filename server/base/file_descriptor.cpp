// SPDX-License-Identifier: Apache-2.0
#include "base/file_descriptor.h"

#include <cerrno>
#include <cstring>
#include <poll.h>
#include <stdexcept>
#include <unistd.h>
#include <utility>

namespace tarn::server {

FileDescriptor::~FileDescriptor() {
    if (descriptor_ >= 0) close(descriptor_);
}

FileDescriptor::FileDescriptor(FileDescriptor&& other) noexcept : descriptor_(std::exchange(other.descriptor_, -1)) {}

FileDescriptor& FileDescriptor::operator=(FileDescriptor&& other) noexcept {
    if (this != &other) {
        if (descriptor_ >= 0) close(descriptor_);
        descriptor_ = std::exchange(other.descriptor_, -1);
    }
    return *this;
}

int FileDescriptor::release() { return std::exchange(descriptor_, -1); }

std::string errnoText(const std::filesystem::path& file, const std::string& what) {
    const int error = errno;
    return file.string() + ": " + what + ": " + std::strerror(error);
}

int writeAll(int descriptor, std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t written = write(descriptor, bytes.data(), bytes.size());
        if (written >= 0) {
            bytes.remove_prefix(static_cast<size_t>(written));
        } else if (errno == EAGAIN || errno == EWOULDBLOCK) {
            pollfd room{descriptor, POLLOUT, 0};
            if (poll(&room, 1, -1) < 0 && errno != EINTR) return errno;
        } else if (errno != EINTR) {
            return errno;
        }
    }
    return 0;
}

std::string readWhole(const FileDescriptor& descriptor, const std::filesystem::path& file) {
    std::string bytes;
    char buffer[8192];
    for (;;) {
        const ssize_t count = read(descriptor.get(), buffer, sizeof buffer);
        if (count == 0) return bytes;
        if (count > 0) {
            bytes.append(buffer, static_cast<size_t>(count));
        } else if (errno != EINTR) {
            throw std::runtime_error(errnoText(file, "cannot be read"));
        }
    }
}

void writeWhole(const FileDescriptor& descriptor, std::string_view bytes, const std::filesystem::path& file) {
    errno = writeAll(descriptor.get(), bytes);
    if (errno != 0) throw std::runtime_error(errnoText(file, "cannot be written"));
}

} // namespace tarn::server
