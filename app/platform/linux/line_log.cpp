// SPDX-License-Identifier: Apache-2.0
#include "platform/linux/line_log.h"

#include <cstdio>
#include <ctime>
#include <unistd.h>

namespace tarn {

void LineLog::write(const TextPieces& text) {
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

    TextPieces line = prefix;
    line.addAll(text);
    if (!text.endsWith('\n')) line.add("\n");
    output_.write(line); // whole, so that lines of several processes do not mix
}

} // namespace tarn
