// SPDX-License-Identifier: Apache-2.0
#include "ingest/progress.h"

#include "base/text.h"

#include <algorithm>
#include <fmt/format.h>

namespace tarn::server {

namespace {

constexpr size_t kBarColumns = 24;

} // namespace

std::string progressLine(const Progress& progress) {
    const double share =
        progress.bytes == 0
            ? 1.0
            : std::min(1.0, static_cast<double>(progress.bytesDone) / static_cast<double>(progress.bytes));
    const auto filled = static_cast<size_t>(share * kBarColumns);
    const double elapsedMs = static_cast<double>(progress.elapsed.count());
    std::string line =
        fmt::format("[{}{}] {:3.0f} %  {}/{} files", std::string(filled, '#'), std::string(kBarColumns - filled, '.'),
                    share * 100, progress.filesDone, progress.files);
    if (elapsedMs > 0 && progress.audioMs > 0) {
        line += fmt::format("  {:.0f} x real time", static_cast<double>(progress.audioMs) / elapsedMs);
    }
    if (share > 0) {
        line += fmt::format("  {} left", durationText(static_cast<uint64_t>(elapsedMs / 1000 * (1 - share) / share)));
    }
    return line.substr(0, 79);
}

} // namespace tarn::server
