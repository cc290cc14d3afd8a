// SPDX-License-Identifier: Apache-2.0
#include "ingest/file_walk.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <set>
#include <string_view>
#include <sys/stat.h>
#include <system_error>

namespace fs = std::filesystem;

namespace tarn::server {

namespace {

// Of audio alone: a film is taken only where it is named.
constexpr std::array<std::string_view, 49> kExtensions = {
    "8svx", "aac",    "ac3",  "aif",  "aifc", "aiff", "amr",  "ape",  "asf", "au",  "avr", "caf", "dff",
    "dsf",  "dts",    "eac3", "flac", "gsm",  "iff",  "m4a",  "m4b",  "m4r", "mka", "mlp", "mp1", "mp2",
    "mp3",  "mpc",    "oga",  "ogg",  "oma",  "opus", "ra",   "rf64", "rm",  "sd2", "snd", "spx", "tak",
    "thd",  "truehd", "tta",  "voc",  "w64",  "wav",  "wave", "weba", "wma", "wv"};

class Walk {
  public:
    explicit Walk(bool untilFirst = false) : untilFirst_(untilFirst) {}

    void visit(const fs::path& path, bool named) {
        struct stat about {};
        if (untilFirst_ && !found.files.empty()) return;
        if (::stat(path.c_str(), &about) != 0) return problem(path, std::error_code(errno, std::generic_category()));
        if (S_ISDIR(about.st_mode)) {
            if (folders_.emplace(about.st_dev, about.st_ino).second) enter(path);
        } else if (named || (S_ISREG(about.st_mode) && looksLikeAudio(path))) {
            take(path, about, named);
        }
    }

    FoundFiles found;

  private:
    void enter(const fs::path& folder) {
        std::error_code error;
        std::vector<fs::path> entries;
        for (fs::directory_iterator at(folder, error), end; !error && at != end; at.increment(error)) {
            if (at->path().filename().string().front() != '.') entries.push_back(at->path());
        }
        if (error) problem(folder, error);
        std::sort(entries.begin(), entries.end(),
                  [](const fs::path& a, const fs::path& b) { return a.native() < b.native(); });
        for (const fs::path& entry : entries) visit(entry, false);
    }

    void take(const fs::path& path, const struct stat& about, bool named) {
        std::error_code error;
        fs::path canonical = fs::canonical(path, error);
        if (error) return problem(path, error);
        if (!files_.insert(canonical.native()).second) return;
        constexpr int64_t kNsPerSecond = 1'000'000'000;
        found.files.push_back({std::move(canonical),
                               static_cast<uint64_t>(about.st_size),
                               about.st_mtim.tv_sec * kNsPerSecond + about.st_mtim.tv_nsec,
                               named,
                               {}});
    }

    void problem(const fs::path& path, const std::error_code& error) {
        found.problems.push_back({path, error.message()});
    }

    const bool untilFirst_;
    std::set<std::pair<dev_t, ino_t>> folders_;
    std::set<std::string> files_;
};

} // namespace

bool looksLikeAudio(const fs::path& path) {
    std::string extension = path.extension().string();
    if (extension.empty()) return false;
    extension.erase(0, 1);
    std::transform(extension.begin(), extension.end(), extension.begin(),
                   [](char c) { return static_cast<char>(std::tolower(static_cast<unsigned char>(c))); });
    return std::find(kExtensions.begin(), kExtensions.end(), extension) != kExtensions.end();
}

FoundFiles findFiles(const std::vector<std::string>& paths) {
    Walk walk;
    for (const std::string& path : paths) walk.visit(path, true);
    return std::move(walk.found);
}

bool holdsAudioFile(const std::string& folder) {
    Walk walk(true);
    walk.visit(folder, true);
    return !walk.found.files.empty();
}

} // namespace tarn::server
