// SPDX-License-Identifier: Apache-2.0
#include "commands/watch.h"

#include "base/paths.h"
#include "base/text.h"
#include "commands/end_signal.h"
#include "commands/pending_changes.h"
#include "commands/reporting.h"
#include "ingest/folder_watch.h"

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <ostream>
#include <poll.h>
#include <stdexcept>
#include <sys/stat.h>

namespace tarn::server {

namespace {

using Clock = PendingChanges::Clock;

constexpr auto kLook = std::chrono::milliseconds(250);       // for a signal and for what has settled
constexpr auto kLookAtRoots = std::chrono::seconds(5);       // whether they were mounted or unmounted
constexpr auto kEndWithin = std::chrono::milliseconds(1700); // after the signal
constexpr auto kFirstRetry = std::chrono::seconds(5);        // when the catalogue cannot be written
constexpr auto kMaxRetry = std::chrono::seconds(60);

// Waits for changes for a while.
void awaitChanges(int descriptor) {
    pollfd waiting{descriptor, POLLIN, 0};
    ::poll(&waiting, 1, static_cast<int>(kLook.count()));
}

void expectFolders(const std::vector<std::string>& folders) {
    for (const std::string& folder : folders) {
        struct stat about {};
        if (::stat(folder.c_str(), &about) == 0 && !S_ISDIR(about.st_mode))
            throw std::runtime_error(inOneLine(folder) + " is not a folder; name folders to watch");
    }
}

class Watch {
  public:
    Watch(const WatchOptions& options, std::vector<MediaProcess>& processes, EndSignal& signals, std::ostream& out,
          std::ostream& err)
        : options_(options), processes_(processes), signals_(signals), out_(out), err_(err),
          folders_(options.add.paths), pending_(canonical(options.add.paths), options.settle) {
        pending_.addRoots(Clock::now() - options.settle);
    }

    int run() {
        out_ << "watching " << counted(options_.add.paths.size(), "folder") << std::endl;
        if (work() == kAddFailed) return 1;
        Clock::time_point rootsSeen = Clock::now();
        while (!signals_.hasCome()) {
            awaitChanges(folders_.descriptor());
            take(folders_.read());
            if (Clock::now() - rootsSeen >= kLookAtRoots) {
                take(folders_.expectRoots());
                rootsSeen = Clock::now();
            }
            if (Clock::now() < notBefore_) continue;
            if (work() == kAddFailed) {
                notBefore_ = Clock::now() + retry_;
                retry_ = std::min<std::chrono::seconds>(2 * retry_, kMaxRetry);
            } else {
                retry_ = kFirstRetry;
            }
        }
        out_ << "ended" << std::endl;
        return 0;
    }

  private:
    static std::vector<std::string> canonical(const std::vector<std::string>& folders) {
        std::vector<std::string> paths(folders.size());
        std::transform(folders.begin(), folders.end(), paths.begin(), canonicalAsFarAsItGoes);
        return paths;
    }

    void take(const std::vector<FolderChange>& changes) {
        const Clock::time_point now = Clock::now();
        for (const FolderChange& change : changes) pending_.add(change, now);
    }

    // What is due, if anything is. Returns the status of the run.
    int work() {
        const PendingChanges::Due due = pending_.take(Clock::now());
        if (due.isEmpty()) return kAllInCatalogue;
        AddOptions add = options_.add;
        add.folders = options_.add.paths;
        add.prune = due.prune;
        add.stopped = [this] { return signals_.hasCome(); };
        add.leaveOut = [this](const FoundFile& file) {
            return pending_.mustWait(file, Clock::now(), std::chrono::system_clock::now());
        };
        add.paths.clear();
        for (const std::string& path : due.paths) {
            std::error_code error;
            if (std::filesystem::exists(path, error)) add.paths.push_back(path);
        }
        const int status = runAdd(add, processes_, out_, err_);
        if (status == kAddFailed) pending_.giveBack(due, Clock::now());
        return status;
    }

    const WatchOptions& options_;
    std::vector<MediaProcess>& processes_;
    EndSignal& signals_;
    std::ostream& out_;
    std::ostream& err_;
    FolderWatch folders_; // before the first look, which may take long
    PendingChanges pending_;
    Clock::time_point notBefore_;
    std::chrono::seconds retry_ = kFirstRetry;
};

} // namespace

int runWatch(const WatchOptions& options, std::ostream& out, std::ostream& err) {
    return reporting(err, [&] {
        expectFolders(options.add.paths);
        EndSignal signals;
        std::vector<MediaProcess> processes = makeMediaProcesses(options.add.workers);
        signals.watch(kEndWithin, [&err] { err << "what is being read does not end; it is given up" << std::endl; });
        return Watch(options, processes, signals, out, err).run();
    });
}

} // namespace tarn::server
