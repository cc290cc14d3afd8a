// SPDX-License-Identifier: Apache-2.0
#include "commands/pending_changes.h"

#include "base/paths.h"

namespace tarn::server {

void PendingChanges::add(const FolderChange& change, Clock::time_point now) {
    switch (change.what) {
    case FolderChange::What::kBegun:
        if (!looksLikeAudio(change.path)) return;
        beingWritten_[change.path] = now;
        changed_.erase(change.path);
        return;
    case FolderChange::What::kWritten:
        if (!looksLikeAudio(change.path)) return;
        beingWritten_.erase(change.path);
        changed_[change.path] = now;
        return;
    case FolderChange::What::kFolder:
        changed_[change.path] = now;
        return;
    case FolderChange::What::kGone:
        std::erase_if(changed_, [&](const auto& each) { return isAtOrBelow(each.first, change.path); });
        std::erase_if(beingWritten_, [&](const auto& each) { return isAtOrBelow(each.first, change.path); });
        gone_ = true;
        lastGone_ = now;
        return;
    case FolderChange::What::kLost:
        beingWritten_.clear(); // their ends may be among what was lost
        addRoots(now);
        return;
    }
}

void PendingChanges::addRoots(Clock::time_point now) {
    for (const std::string& root : roots_) changed_[root] = now;
    gone_ = true;
    lastGone_ = now;
}

PendingChanges::Due PendingChanges::take(Clock::time_point now) {
    Due due;
    std::erase_if(beingWritten_, [&](const auto& each) {
        if (now - each.second < kMaxWriting) return false;
        due.paths.push_back(each.first);
        return true;
    });
    for (auto at = changed_.begin(); at != changed_.end();) {
        if (now - at->second < settle_) {
            ++at;
            continue;
        }
        due.paths.push_back(at->first);
        at = changed_.erase(at);
    }
    due.prune = gone_ && now - lastGone_ >= settle_;
    if (due.prune) gone_ = false;
    return due;
}

void PendingChanges::giveBack(const Due& due, Clock::time_point now) {
    for (const std::string& path : due.paths) changed_.emplace(path, now);
    if (!due.prune) return;
    gone_ = true;
    lastGone_ = now;
}

bool PendingChanges::mustWait(const FoundFile& file, Clock::time_point now,
                              std::chrono::system_clock::time_point date) {
    const std::string path = file.path.string();
    if (beingWritten_.contains(path)) return true; // its end is reported
    const auto modified = std::chrono::system_clock::time_point(
        std::chrono::duration_cast<std::chrono::system_clock::duration>(std::chrono::nanoseconds(file.modifiedNs)));
    if (modified > date || date - modified >= settle_) return false;
    changed_[path] = now;
    return true;
}

} // namespace tarn::server
