// SPDX-License-Identifier: Apache-2.0
// Byte streams over file descriptors, and the loop that reports their events to a delegate: real streams for
// TarnSocketHandler, which the tool itself does not use.
#pragma once

#include "platform/byte_streams.h"

#include <functional>
#include <utility>

namespace tarn {

// Holds a stream's descriptor, which stays the caller's, and its first failure.
class DescriptorState {
  public:
    explicit DescriptorState(int descriptor) : descriptor_(descriptor) {}
    DescriptorState(const DescriptorState&) = delete;
    DescriptorState& operator=(const DescriptorState&) = delete;
    ~DescriptorState();

    int descriptor() const { return descriptor_; }
    RetainedError* error() const { return error_; }
    // Keeps what errno says, unless a failure is kept already.
    void noteFailure();

  private:
    int descriptor_;
    RetainedError* error_ = nullptr;
};

class DescriptorInputStream : public InputStream {
  public:
    explicit DescriptorInputStream(int descriptor) : state_(descriptor) {}
    int64_t read(uint8_t* buffer, size_t capacity) override;
    RetainedError* streamError() const override { return state_.error(); }
    int descriptor() const { return state_.descriptor(); }
    bool atEnd() const { return atEnd_; }

  private:
    DescriptorState state_;
    bool atEnd_ = false;
};

class DescriptorOutputStream : public OutputStream {
  public:
    // Over a blocking descriptor every write is whole.
    explicit DescriptorOutputStream(int descriptor) : state_(descriptor) {}
    int64_t write(const uint8_t* data, size_t count) override;
    RetainedError* streamError() const override { return state_.error(); }
    int descriptor() const { return state_.descriptor(); }
    // Space is announced once, and once more after every write.
    bool takeSpaceAnnouncement() { return std::exchange(spaceDue_, false); }
    bool spaceDue() const { return spaceDue_; }

  private:
    DescriptorState state_;
    bool spaceDue_ = true;
};

// Reports the events of both streams to the delegate, one at a time, on this thread, until finished() is true, the
// input has ended or a stream has failed.
void runStreams(DescriptorInputStream& input, DescriptorOutputStream& output, StreamDelegate& delegate,
                const std::function<bool()>& finished);

} // namespace tarn
