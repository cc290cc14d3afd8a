// The diagnostic log.
#pragma once

#include <string_view>

namespace tarn {

class Log {
  public:
    virtual ~Log() = default;
    // One entry, ended by exactly one line feed whether or not the text brings its own.
    virtual void write(std::string_view text) = 0;
};

} // namespace tarn
