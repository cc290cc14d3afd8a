// SPDX-License-Identifier: Apache-2.0
#include "app/descriptor_streams.h"

#include <array>
#include <cerrno>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace tarn {

DescriptorState::~DescriptorState() {
    if (error_ != nullptr) error_->release();
}

void DescriptorState::noteFailure() {
    if (error_ != nullptr) return;
    error_ = RetainedError::create(systemError(errno));
}

int64_t DescriptorInputStream::read(uint8_t* buffer, size_t capacity) {
    ssize_t count = 0;
    do count = ::read(state_.descriptor(), buffer, capacity);
    while (count < 0 && errno == EINTR);
    if (count < 0) state_.noteFailure();
    if (count == 0 && capacity != 0) atEnd_ = true;
    return count;
}

int64_t DescriptorOutputStream::write(const uint8_t* data, size_t count) {
    ssize_t written = 0;
    do {
        written = send(state_.descriptor(), data, count, MSG_NOSIGNAL); // a closed peer is an error, no signal
        if (written < 0 && errno == ENOTSOCK) written = ::write(state_.descriptor(), data, count);
    } while (written < 0 && errno == EINTR);
    if (written < 0) {
        state_.noteFailure();
    } else {
        spaceDue_ = true;
    }
    return written;
}

void runStreams(DescriptorInputStream& input, DescriptorOutputStream& output, StreamDelegate& delegate,
                const std::function<bool()>& finished) {
    delegate.handleEvent(output, kStreamOpenCompleted);
    delegate.handleEvent(input, kStreamOpenCompleted);
    while (!finished()) {
        // A negative descriptor is passed over: nothing is waited for where nothing is due.
        std::array<pollfd, 2> ready = {pollfd{output.spaceDue() ? output.descriptor() : -1, POLLOUT, 0},
                                       pollfd{input.descriptor(), POLLIN, 0}};
        if (poll(ready.data(), ready.size(), -1) < 0) {
            if (errno == EINTR) continue;
            return;
        }
        if (ready[0].revents != 0 && output.takeSpaceAnnouncement()) {
            delegate.handleEvent(output, kStreamSpaceAvailable);
        }
        if (ready[1].revents != 0 && !finished()) delegate.handleEvent(input, kStreamBytesAvailable);
        for (Stream* stream : {static_cast<Stream*>(&output), static_cast<Stream*>(&input)}) {
            if (stream->streamError() == nullptr) continue;
            delegate.handleEvent(*stream, kStreamErrorOccurred);
            return;
        }
        if (input.atEnd()) {
            delegate.handleEvent(input, kStreamEndEncountered);
            return;
        }
    }
}

} // namespace tarn
