#include "platform/linux/LineLog.h"

#include <cstdio>
#include <ctime>
#include <new>
#include <string>
#include <unistd.h>

namespace tarn {

void LineLog::write(std::string_view text) {
    using std::chrono::duration_cast;
    const auto now = clock_.now();
    const auto wholeSeconds = std::chrono::floor<std::chrono::seconds>(now);
    const auto milliseconds = duration_cast<std::chrono::milliseconds>(now - wholeSeconds).count();
    const std::time_t seconds = std::chrono::system_clock::to_time_t(wholeSeconds);
    std::tm local{};
    localtime_r(&seconds, &local);

    char day[32];
    std::strftime(day, sizeof day, "%Y-%m-%d %H:%M:%S", &local);
    char prefix[96];
    std::snprintf(prefix, sizeof prefix, "%s.%03d tarn[%d:%d] ", day, static_cast<int>(milliseconds), getpid(),
                  gettid());

    const std::string_view end = text.ends_with('\n') ? "" : "\n";
    std::string line;
    try {
        line.append(prefix).append(text).append(end);
    } catch (const std::bad_alloc&) { // in pieces rather than not at all
        for (const std::string_view piece : {std::string_view(prefix), text, end}) output_.write(piece);
        return;
    }
    output_.write(line); // whole, so that lines of several processes do not mix
}

} // namespace tarn
