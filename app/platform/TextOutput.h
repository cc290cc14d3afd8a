// Standard output, or standard error.
#pragma once

#include "platform/TextPieces.h"

namespace tarn {

class TextOutput {
  public:
    virtual ~TextOutput() = default;
    // Unbuffered: the text is out, in one piece, when the call returns.
    virtual void write(const TextPieces& text) = 0;
};

} // namespace tarn
