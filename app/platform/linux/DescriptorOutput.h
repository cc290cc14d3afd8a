// Text to a file descriptor.
#pragma once

#include "platform/TextOutput.h"

namespace tarn {

class DescriptorOutput : public TextOutput {
  public:
    // The descriptor stays the caller's.
    explicit DescriptorOutput(int descriptor) : descriptor_(descriptor) {}
    // One system call, unless the descriptor takes only a part. A failure is ignored: there is no one to tell.
    void write(const TextPieces& text) override;

  private:
    int descriptor_;
};

} // namespace tarn
