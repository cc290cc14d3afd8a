// SPDX-License-Identifier: Apache-2.0
// The diagnostic log.
#pragma once

#include "platform/text_pieces.h"

namespace tarn {

class Log {
  public:
    virtual ~Log() = default;
    // One entry, ended by exactly one line feed whether or not the text brings its own.
    virtual void write(const TextPieces& text) = 0;
};

} // namespace tarn
