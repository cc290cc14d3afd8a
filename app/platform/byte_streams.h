// SPDX-License-Identifier: Apache-2.0
// A pair of byte streams and the events by which they call for attention.
#pragma once

#include "platform/error.h"

#include <cstddef>
#include <cstdint>
#include <utility>

namespace tarn {

// An error that streams and their users share by counting: born with a count of 1, gone when the count reaches 0.
class RetainedError {
  public:
    static RetainedError* create(Error error) { return new RetainedError(std::move(error)); }
    RetainedError(const RetainedError&) = delete;
    RetainedError& operator=(const RetainedError&) = delete;

    void retain() { ++count_; }
    void release() {
        if (--count_ == 0) delete this;
    }
    int retainCount() const { return count_; }
    const Error& error() const { return error_; }

  private:
    explicit RetainedError(Error error) : error_(std::move(error)) {}
    ~RetainedError() = default;

    Error error_;
    int count_ = 1;
};

class Stream {
  public:
    virtual ~Stream() = default;
    // The failure that the stream met; null before one. It stays the stream's: retain it to keep it.
    virtual RetainedError* streamError() const = 0;
};

class InputStream : public Stream {
  public:
    // Bytes read, at most capacity; 0 at the end; negative on failure.
    virtual int64_t read(uint8_t* buffer, size_t capacity) = 0;
};

class OutputStream : public Stream {
  public:
    // Bytes taken, possibly fewer than count; negative on failure.
    virtual int64_t write(const uint8_t* data, size_t count) = 0;
};

// Event codes: a code is one of these.
constexpr uint32_t kStreamOpenCompleted = 1;
constexpr uint32_t kStreamBytesAvailable = 2;
constexpr uint32_t kStreamSpaceAvailable = 4;
constexpr uint32_t kStreamErrorOccurred = 8;
constexpr uint32_t kStreamEndEncountered = 16;

class StreamDelegate {
  public:
    virtual ~StreamDelegate() = default;
    virtual void handleEvent(Stream& stream, uint32_t code) = 0;
};

} // namespace tarn
