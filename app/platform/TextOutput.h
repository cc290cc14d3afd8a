// Standard output, or standard error.
#pragma once

#include <string_view>

namespace tarn {

class TextOutput {
  public:
    virtual ~TextOutput() = default;
    // Unbuffered: the text is out, in one piece, when the call returns.
    virtual void write(std::string_view text) = 0;
};

} // namespace tarn
