// SPDX-License-Identifier: Apache-2.0
// Standard output, or standard error.
#pragma once

#include "platform/text_pieces.h"

namespace tarn {

class TextOutput {
  public:
    virtual ~TextOutput() = default;
    // Unbuffered: the text is out, in one piece, when the call returns, or error() says why it is not.
    virtual void write(const TextPieces& text) = 0;
    // The system's number of the first failure to write; 0 for none.
    virtual int error() const = 0;
};

} // namespace tarn
