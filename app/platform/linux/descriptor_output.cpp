// SPDX-License-Identifier: Apache-2.0
#include "platform/linux/descriptor_output.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <poll.h>
#include <span>
#include <sys/uio.h>

namespace tarn {
namespace {

// Leaves out what has been written.
void advance(std::span<iovec>& parts, size_t written) {
    while (!parts.empty() && written >= parts.front().iov_len) {
        written -= parts.front().iov_len;
        parts = parts.subspan(1);
    }
    if (parts.empty()) return;
    parts.front().iov_base = static_cast<char*>(parts.front().iov_base) + written;
    parts.front().iov_len -= written;
}

void waitForSpace(int descriptor) {
    pollfd space = {descriptor, POLLOUT, 0};
    poll(&space, 1, -1); // its result does not matter: the next write reports any failure
}

} // namespace

void DescriptorOutput::write(const TextPieces& text) {
    std::array<iovec, TextPieces::kMax> all{};
    std::transform(text.begin(), text.end(), all.begin(), [](std::string_view piece) {
        return iovec{const_cast<char*>(piece.data()), piece.size()}; // only read
    });
    for (std::span<iovec> parts(all.data(), text.count()); !parts.empty();) {
        const ssize_t written = writev(descriptor_, parts.data(), static_cast<int>(parts.size()));
        if (written >= 0) {
            advance(parts, static_cast<size_t>(written));
        } else if (errno == EAGAIN || errno == EWOULDBLOCK) {
            waitForSpace(descriptor_);
        } else if (errno != EINTR) {
            if (error_ == 0) error_ = errno;
            return;
        }
    }
}

} // namespace tarn
