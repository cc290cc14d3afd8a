// SPDX-License-Identifier: Apache-2.0
// Text to a file descriptor.
#pragma once

#include "platform/text_output.h"

namespace tarn {

class DescriptorOutput : public TextOutput {
  public:
    // The descriptor stays the caller's.
    explicit DescriptorOutput(int descriptor) : descriptor_(descriptor) {}
    // One system call, unless the descriptor takes only a part. Waits where a non-blocking descriptor is full.
    void write(const TextPieces& text) override;
    int error() const override { return error_; }

  private:
    int descriptor_;
    int error_ = 0;
};

} // namespace tarn
