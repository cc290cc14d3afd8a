// SPDX-License-Identifier: Apache-2.0
#include "commands/add.h"

#include "base/paths.h"
#include "base/reason.h"
#include "base/text.h"
#include "catalogue/catalogue.h"
#include "commands/pruning.h"
#include "commands/reporting.h"
#include "ingest/decode_pool.h"
#include "ingest/progress.h"

#include <algorithm>
#include <filesystem>
#include <fmt/format.h>
#include <iterator>
#include <optional>
#include <ostream>
#include <set>
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
    size_t pruned = 0;
    size_t notPruned = 0; // folders
    uint64_t audioMs = 0; // of what was added or updated
};

std::string describe(const std::string& path, const Recording& recording) {
    std::string name = recording.tags.title;
    if (!recording.tags.artist.empty()) name = recording.tags.artist + " - " + name;
    return fmt::format("{}: {}, {}, {}", inOneLine(path), recording.trackId, durationText(recording.durationMs / 1000),
                       name);
}

class AddRun {
  public:
    AddRun(const AddOptions& options, std::span<MediaProcess> processes, std::ostream& out, std::ostream& err)
        : options_(options), out_(out), err_(err), processes_(processes),
          writer_(options.catalogue, options.gramLetters) {}

    int run() {
        FoundFiles found = findFiles(options_.paths);
        for (const FoundProblem& problem : found.problems) skip(problem.path, problem.reason);
        if (options_.leaveOut) std::erase_if(found.files, options_.leaveOut);
        if (options_.prune) planPruningOfFolders();
        // What is known already is not decoded, so it is sifted out before the threads start.
        counts_.unchanged = std::erase_if(found.files, [&](const FoundFile& file) { return isKnown(file); });
        if (options_.namesFromFolders) allowNames(found.files);
        progress_.files = found.files.size();
        for (const FoundFile& file : found.files) progress_.bytes += file.bytes;
        addAll(found.files);
        if (!isStopped()) prune();
        clearBar();
        summarise();
        return counts_.skipped == 0 && counts_.notPruned == 0 ? kAllInCatalogue : kFilesSkipped;
    }

    // What a run that could not go on has done.
    void summarise() {
        const std::string pruned = options_.prune ? fmt::format(", {} pruned", counts_.pruned) : "";
        out_ << fmt::format("{} added, {} updated, {} unchanged, {} skipped{}; {} of audio in {}\n", counts_.added,
                            counts_.updated, counts_.unchanged, counts_.skipped, pruned,
                            durationText(counts_.audioMs / 1000),
                            durationText(static_cast<uint64_t>(
                                std::chrono::duration_cast<std::chrono::seconds>(Clock::now() - start_).count())))
             << std::flush;
    }

    void clearBar() {
        if (options_.progressBar) out_ << kClearLine << std::flush;
    }

  private:
    bool isStopped() const { return options_.stopped && options_.stopped(); }

    void planPruningOfFolders() {
        reader_.emplace(options_.catalogue, [](uint32_t, const std::string&) {}); // damaged ones stay
        pruning_ = planPruning(*reader_, options_.folders);
        for (const Recording& recording : pruning_.gone) goneHashes_.insert(recording.contentHash);
        for (const std::string& refusal : pruning_.refusals) {
            clearBar();
            err_ << refusal << std::endl;
            ++counts_.notPruned;
        }
    }

    // A recording that was last read from a file that is gone is read again from another that holds it, and stays.
    bool isKnown(const FoundFile& file) {
        const std::string path = file.path.string();
        if (!writer_.isKnownFile(path, file.bytes, file.modifiedNs, file.named)) return false;
        if (goneHashes_.empty()) return true;
        const std::optional<FileEntry> entry = reader_->file(path);
        return !entry || !goneHashes_.contains(entry->contentHash);
    }

    void allowNames(std::vector<FoundFile>& files) const {
        Folders folders;
        for (const std::string& folder : options_.folders) folders.insert(canonicalAsFarAsItGoes(folder));
        for (FoundFile& file : files) file.namesBelow = innermostOf(folders, file.path.parent_path().native());
    }

    void prune() {
        if (pruning_.gone.empty() && pruning_.fewerPaths.empty()) return;
        reader_->refresh();
        const Pruning now = planPruning(*reader_, options_.folders); // a disk may have gone meanwhile
        std::vector<std::string> lines;
        const auto commitPruned = [&] {
            writer_.commit();
            counts_.pruned += lines.size();
            for (const std::string& line : lines) out_ << line;
            out_ << std::flush;
            lines.clear();
        };
        for (const Recording& recording : now.gone) {
            if (!goneHashes_.contains(recording.contentHash) || !writer_.remove(recording.id)) continue;
            lines.push_back("pruned " + describe(recording.path, recording) + '\n');
            if (lines.size() >= options_.batchFiles) commitPruned();
        }
        for (const RemainingPaths& remaining : now.fewerPaths) writer_.keepPaths(remaining.id, remaining.paths);
        if (!lines.empty() || !now.fewerPaths.empty()) commitPruned();
    }

    void addAll(const std::vector<FoundFile>& files) {
        DecodePool pool(files, processes_);
        batchEnds_ = Clock::now() + options_.batchTime;
        while (progress_.filesDone < files.size() && !isStopped()) {
            Clock::time_point until = batchEnds_;
            if (options_.progressBar) until = std::min(until, drawn_ + kDrawEvery);
            if (options_.stopped) until = std::min(until, Clock::now() + kDrawEvery);
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
        pending_.push_back({added, describe(file.path.string(), decoded.recording)});
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
    std::span<MediaProcess> processes_;
    CatalogueWriter writer_;
    std::optional<CatalogueReader> reader_; // to prune
    Pruning pruning_;
    std::set<std::string> goneHashes_;
    Clock::time_point batchEnds_;
    Clock::time_point drawn_;
    std::vector<PendingLine> pending_;
    uint64_t pendingAudioMs_ = 0;
    Counts counts_;
    Progress progress_;
};

} // namespace

namespace {

// A path where there is nothing may be that of a disk which is not mounted.
bool mayBeFolder(const std::string& path) {
    std::error_code error;
    return std::filesystem::status(path, error).type() != std::filesystem::file_type::regular;
}

} // namespace

std::vector<MediaProcess> makeMediaProcesses(size_t workers) {
    return std::vector<MediaProcess>(workers == 0 ? std::max(1U, std::thread::hardware_concurrency()) : workers);
}

int runAdd(const AddOptions& options, std::span<MediaProcess> processes, std::ostream& out, std::ostream& err) {
    std::optional<AddRun> run;
    try {
        run.emplace(options, processes, out, err);
        return run->run();
    } catch (const std::exception& error) {
        if (run) run->clearBar();
        err << reasonOf(error) << std::endl;
        if (run) run->summarise();
        return kAddFailed;
    }
}

int runAdd(AddOptions options, std::ostream& out, std::ostream& err) {
    return reporting(err, [&] {
        if (options.folders.empty()) {
            std::copy_if(options.paths.begin(), options.paths.end(), std::back_inserter(options.folders), mayBeFolder);
        }
        // Before the catalogue is opened, whose files they are not to hold.
        std::vector<MediaProcess> processes = makeMediaProcesses(options.workers);
        return runAdd(options, processes, out, err);
    });
}

} // namespace tarn::server
