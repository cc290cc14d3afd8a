// SPDX-License-Identifier: Apache-2.0
#include "commands/add.h"

#include "base/reason.h"
#include "base/text.h"
#include "catalogue/catalogue.h"
#include "ingest/decode_pool.h"
#include "ingest/progress.h"

#include <algorithm>
#include <fmt/format.h>
#include <optional>
#include <ostream>
#include <thread>

namespace tarn::server {

namespace {

using Clock = std::chrono::steady_clock;

constexpr auto kDrawEvery = std::chrono::milliseconds(200);
constexpr const char* kClearLine = "\r\033[K";

struct PendingLine {
    bool added; // else updated
    std::string text;
};

struct Counts {
    size_t added = 0;
    size_t updated = 0;
    size_t unchanged = 0;
    size_t skipped = 0;
    uint64_t audioMs = 0; // of what was added or updated
};

std::string describe(const FoundFile& file, const Recording& recording) {
    std::string name = recording.tags.title;
    if (!recording.tags.artist.empty()) name = recording.tags.artist + " - " + name;
    return fmt::format("{}: {}, {}, {}", inOneLine(file.path.string()), recording.trackId,
                       durationText(recording.durationMs / 1000), name);
}

class AddRun {
  public:
    AddRun(const AddOptions& options, std::ostream& out, std::ostream& err)
        : options_(options), out_(out), err_(err),
          readers_(options.workers == 0 ? std::max(1U, std::thread::hardware_concurrency()) : options.workers),
          writer_(options.catalogue, options.gramLetters) {}

    int run() {
        FoundFiles found = findFiles(options_.paths);
        for (const FoundProblem& problem : found.problems) skip(problem.path, problem.reason);
        // What is known already is not decoded, so it is sifted out before the threads start.
        counts_.unchanged = std::erase_if(found.files, [&](const FoundFile& file) {
            return writer_.isKnownFile(file.path.string(), file.bytes, file.modifiedNs, file.named);
        });
        progress_.files = found.files.size();
        for (const FoundFile& file : found.files) progress_.bytes += file.bytes;
        addAll(found.files);
        clearBar();
        summarise();
        return counts_.skipped == 0 ? kAllInCatalogue : kFilesSkipped;
    }

    // What a run that could not go on has done.
    void summarise() {
        out_ << fmt::format("{} added, {} updated, {} unchanged, {} skipped; {} of audio in {}\n", counts_.added,
                            counts_.updated, counts_.unchanged, counts_.skipped, durationText(counts_.audioMs / 1000),
                            durationText(static_cast<uint64_t>(
                                std::chrono::duration_cast<std::chrono::seconds>(Clock::now() - start_).count())))
             << std::flush;
    }

    void clearBar() {
        if (options_.progressBar) out_ << kClearLine << std::flush;
    }

  private:
    void addAll(const std::vector<FoundFile>& files) {
        DecodePool pool(files, readers_);
        batchEnds_ = Clock::now() + options_.batchTime;
        while (progress_.filesDone < files.size()) {
            Clock::time_point until = batchEnds_;
            if (options_.progressBar) until = std::min(until, drawn_ + kDrawEvery);
            if (const std::optional<DecodedFile> decoded = pool.take(until)) put(*decoded);
            if (pending_.size() >= options_.batchFiles || Clock::now() >= batchEnds_) commit();
            if (options_.progressBar && Clock::now() >= drawn_ + kDrawEvery) draw();
        }
        commit();
    }

    void put(const DecodedFile& decoded) {
        const FoundFile& file = *decoded.file;
        ++progress_.filesDone;
        progress_.bytesDone += file.bytes;
        if (!decoded.problem.empty()) return skip(file.path, decoded.problem);
        progress_.audioMs += decoded.recording.durationMs;
        pendingAudioMs_ += decoded.recording.durationMs;
        const bool added = writer_.put(decoded.recording) == CatalogueWriter::Outcome::kAdded;
        writer_.rememberFile(file.path.string(), file.bytes, file.modifiedNs, decoded.recording.contentHash);
        pending_.push_back({added, describe(file, decoded.recording)});
    }

    // Prints only what is committed.
    void commit() {
        if (!pending_.empty()) writer_.commit();
        if (!options_.progressBar) {
            for (const PendingLine& line : pending_) {
                out_ << (line.added ? "added " : "updated ") << line.text << '\n';
            }
            out_ << std::flush;
        }
        for (const PendingLine& line : pending_) {
            if (line.added) {
                ++counts_.added;
            } else {
                ++counts_.updated;
            }
        }
        counts_.audioMs += pendingAudioMs_;
        pendingAudioMs_ = 0;
        pending_.clear();
        batchEnds_ = Clock::now() + options_.batchTime;
    }

    void skip(const std::filesystem::path& path, const std::string& reason) {
        ++counts_.skipped;
        clearBar();
        err_ << "skipped " << inOneLine(path.string()) << ": " << cleanText(reason) << std::endl;
    }

    void draw() {
        drawn_ = Clock::now();
        progress_.elapsed = std::chrono::duration_cast<std::chrono::milliseconds>(drawn_ - start_);
        out_ << kClearLine << progressLine(progress_) << std::flush;
    }

    const AddOptions& options_;
    std::ostream& out_;
    std::ostream& err_;
    const Clock::time_point start_ = Clock::now();
    std::vector<MediaProcess> readers_; // before the writer, whose files they are not to hold
    CatalogueWriter writer_;
    Clock::time_point batchEnds_;
    Clock::time_point drawn_;
    std::vector<PendingLine> pending_;
    uint64_t pendingAudioMs_ = 0;
    Counts counts_;
    Progress progress_;
};

} // namespace

int runAdd(const AddOptions& options, std::ostream& out, std::ostream& err) {
    std::optional<AddRun> run;
    try {
        run.emplace(options, out, err);
        return run->run();
    } catch (const std::exception& error) {
        if (run) run->clearBar();
        err << reasonOf(error) << std::endl;
        if (run) run->summarise();
        return kAddFailed;
    }
}

} // namespace tarn::server
