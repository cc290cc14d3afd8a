// SPDX-License-Identifier: Apache-2.0
// Standard output and standard error as streams that lose nothing unnoticed.
#pragma once

#include <array>
#include <ostream>
#include <streambuf>

namespace tarn::server {

// The exit status of a command that did everything else, but whose output could not be written.
constexpr int kOutputLost = 74; // EX_IOERR

// Text to a file descriptor, which stays the caller's. What is flushed has been written whole: a slow reader, also one
// of a descriptor that does not block, is waited for. After a failure nothing more is written, and the stream is bad.
class DescriptorStream : public std::ostream {
  public:
    explicit DescriptorStream(int descriptor) : std::ostream(nullptr), buffer_(descriptor) { rdbuf(&buffer_); }
    ~DescriptorStream() override { flush(); }
    DescriptorStream(const DescriptorStream&) = delete;
    DescriptorStream& operator=(const DescriptorStream&) = delete;

    // The errno of the failure; 0: there was none.
    int failure() const { return buffer_.failure(); }

  private:
    class Buffer : public std::streambuf {
      public:
        explicit Buffer(int descriptor);
        int failure() const { return failure_; }

      protected:
        int_type overflow(int_type c) override;
        int sync() override;

      private:
        int descriptor_;
        int failure_ = 0;
        std::array<char, 16384> bytes_{};
    };

    Buffer buffer_;
};

} // namespace tarn::server
