// SPDX-License-Identifier: Apache-2.0
#include "recognise/batch/progress_line.h"

#include "base/text.h"

#include <fmt/format.h>

namespace tarn::recognise {

namespace {

constexpr size_t kBarColumns = 24;

} // namespace

void Tally::count(const FileResult& result) {
    if (result.fromCache) ++fromCache;
    switch (result.status) {
    case FileStatus::kMatched:
        ++matched;
        break;
    case FileStatus::kUnknown:
        ++unknown;
        break;
    case FileStatus::kError:
        if (result.error == FileError::kServer || result.error == FileError::kNotAsked) {
            ++server;
        } else {
            ++unreadable;
        }
        break;
    }
}

std::string progressLine(const Tally& tally, std::chrono::milliseconds elapsed) {
    const double share = tally.files == 0 ? 1.0 : static_cast<double>(tally.done()) / static_cast<double>(tally.files);
    const auto filled = static_cast<size_t>(share * kBarColumns);
    const double seconds = static_cast<double>(elapsed.count()) / 1000;
    // What came from the cache came at once, and says nothing about the rest.
    const auto asked = static_cast<double>(tally.done() - tally.fromCache);
    std::string line = fmt::format("[{}{}] {:3.0f} %  {}/{} files", std::string(filled, '#'),
                                   std::string(kBarColumns - filled, '.'), share * 100, tally.done(), tally.files);
    if (asked > 0 && seconds > 0) {
        const double rate = asked / seconds;
        line += fmt::format(
            "  {:.1f} a second  {} left", rate,
            server::durationText(static_cast<uint64_t>(static_cast<double>(tally.files - tally.done()) / rate)));
    }
    return line.substr(0, 79);
}

std::string summaryOf(const Tally& tally, std::chrono::milliseconds elapsed) {
    std::string text = fmt::format("{}: {} matched, {} unknown, {} unreadable", server::counted(tally.files, "file"),
                                   tally.matched, tally.unknown, tally.unreadable);
    if (tally.server > 0) text += fmt::format(", {} without an answer", tally.server);
    if (tally.fromCache > 0) text += fmt::format("; {} known from the cache", tally.fromCache);
    return text + "; " + server::durationText(static_cast<uint64_t>(elapsed.count() / 1000));
}

} // namespace tarn::recognise
