// SPDX-License-Identifier: Apache-2.0
// Changes in watched folders that wait until they have settled, so that no half-copied file is read.
#pragma once

#include "ingest/file_walk.h"
#include "ingest/folder_watch.h"

#include <chrono>
#include <map>
#include <string>
#include <vector>

namespace tarn::server {

class PendingChanges {
  public:
    using Clock = std::chrono::steady_clock;
    // A new name of a file that another program has closed already looks like a file that is being written, if its
    // former name is gone. It is taken after this time.
    static constexpr std::chrono::minutes kMaxWriting{10};

    // roots: all of these have changed when reports were lost.
    PendingChanges(std::vector<std::string> roots, std::chrono::milliseconds settle)
        : roots_(std::move(roots)), settle_(settle) {}

    void add(const FolderChange& change, Clock::time_point now);
    // Everything, at once: what a first look takes.
    void addRoots(Clock::time_point now);

    struct Due {
        std::vector<std::string> paths; // files and folders to look at
        bool prune = false;
        bool isEmpty() const { return paths.empty() && !prune; }
    };
    // Takes what has not changed for the settling time.
    Due take(Clock::time_point now);
    // What could not be done is due again.
    void giveBack(const Due& due, Clock::time_point now);

    // Whether the file, which was found in a folder, is still being written; it comes again later.
    bool mustWait(const FoundFile& file, Clock::time_point now, std::chrono::system_clock::time_point date);

  private:
    std::vector<std::string> roots_;
    std::chrono::milliseconds settle_;
    std::map<std::string, Clock::time_point> changed_;
    std::map<std::string, Clock::time_point> beingWritten_; // since when
    bool gone_ = false;
    Clock::time_point lastGone_;
};

} // namespace tarn::server
