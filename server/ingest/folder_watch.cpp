// SPDX-License-Identifier: Apache-2.0
#include "ingest/folder_watch.h"

#include "base/paths.h"

#include <cerrno>
#include <cstring>
#include <dirent.h>
#include <filesystem>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace tarn::server {

namespace {

constexpr uint32_t kEvents =
    IN_CREATE | IN_CLOSE_WRITE | IN_MOVED_FROM | IN_MOVED_TO | IN_DELETE | IN_DELETE_SELF | IN_MOVE_SELF | IN_ONLYDIR;

std::string inside(const std::string& folder, const std::string& name) {
    return folder == "/" ? folder + name : folder + "/" + name;
}

bool isFolder(const std::string& path, std::pair<dev_t, ino_t>& inode) {
    struct stat about {};
    if (::stat(path.c_str(), &about) != 0 || !S_ISDIR(about.st_mode)) return false;
    inode = {about.st_dev, about.st_ino};
    return true;
}

// What was not opened to be written is there at once: a link.
bool isLink(const std::string& path) {
    struct stat about {};
    return ::lstat(path.c_str(), &about) == 0 && (S_ISLNK(about.st_mode) || about.st_nlink > 1);
}

std::vector<std::string> visibleEntries(const std::string& folder) {
    std::vector<std::string> paths;
    std::error_code error;
    for (fs::directory_iterator at(folder, error), end; !error && at != end; at.increment(error)) {
        if (at->path().filename().string().front() != '.') paths.push_back(at->path().string());
    }
    return paths;
}

} // namespace

FolderWatch::FolderWatch(const std::vector<std::string>& folders)
    : inotify_(::inotify_init1(IN_NONBLOCK | IN_CLOEXEC)) {
    if (!inotify_.isOpen()) {
        throw FolderWatchError(std::string("folders cannot be watched: ") + std::strerror(errno) +
                               "; if too many programs watch some, raise fs.inotify.max_user_instances (sysctl)");
    }
    for (const std::string& folder : folders) roots_.push_back({canonicalAsFarAsItGoes(folder), {}});
    watchAll();
}

void FolderWatch::watchAll() {
    for (Root& root : roots_) {
        std::set<Inode> seen;
        root.inode = {};
        if (isFolder(root.path, root.inode)) watchTree(root.path, seen);
    }
}

// A folder is watched before it is looked into, so that nothing can come unseen in between.
void FolderWatch::watchTree(const std::string& folder, std::set<Inode>& seen) {
    Inode inode;
    if (!isFolder(folder, inode) || !seen.insert(inode).second) return;
    const int watch = ::inotify_add_watch(inotify_.get(), folder.c_str(), kEvents);
    if (watch < 0 && errno == ENOSPC) {
        throw FolderWatchError("there are more folders than may be watched, " + std::to_string(folders_.size()) +
                               " so far; raise the limit: sysctl fs.inotify.max_user_watches=1048576");
    }
    if (watch < 0) return; // it has gone, or may not be read
    std::error_code error;
    const fs::path canonical = fs::canonical(folder, error);
    folders_[watch] = error ? folder : canonical.string();
    for (const std::string& entry : visibleEntries(folder)) {
        Inode unused;
        if (isFolder(entry, unused)) watchTree(entry, seen);
    }
}

// What was moved away would be reported under the path that it had.
void FolderWatch::forget(const std::string& folder) {
    for (auto at = folders_.begin(); at != folders_.end();) {
        if (isAtOrBelow(at->second, folder)) {
            ::inotify_rm_watch(inotify_.get(), at->first);
            at = folders_.erase(at);
        } else {
            ++at;
        }
    }
}

void FolderWatch::report(int watch, uint32_t mask, const std::string& name, std::vector<FolderChange>& changes) {
    if ((mask & IN_Q_OVERFLOW) != 0) {
        watchAll();
        changes.push_back({FolderChange::What::kLost, ""});
        return;
    }
    const auto found = folders_.find(watch);
    if (found == folders_.end()) return;
    if ((mask & (IN_DELETE_SELF | IN_MOVE_SELF | IN_UNMOUNT | IN_IGNORED)) != 0) {
        changes.push_back({FolderChange::What::kGone, found->second});
        if ((mask & IN_IGNORED) != 0) folders_.erase(found);
        return;
    }
    if (name.empty() || name.front() == '.') return;
    const std::string path = inside(found->second, name);
    if ((mask & (IN_DELETE | IN_MOVED_FROM)) != 0) {
        if ((mask & IN_ISDIR) != 0) forget(path);
        changes.push_back({FolderChange::What::kGone, path});
        return;
    }
    Inode inode;
    if ((mask & (IN_CREATE | IN_MOVED_TO)) != 0 && isFolder(path, inode)) {
        std::set<Inode> seen;
        watchTree(path, seen);
        changes.push_back({FolderChange::What::kFolder, path});
    } else if ((mask & IN_CREATE) != 0 && !isLink(path)) {
        changes.push_back({FolderChange::What::kBegun, path});
    } else {
        changes.push_back({FolderChange::What::kWritten, path});
    }
}

std::vector<FolderChange> FolderWatch::read() {
    std::vector<FolderChange> changes;
    alignas(inotify_event) char buffer[64 * 1024];
    for (;;) {
        const ssize_t count = ::read(inotify_.get(), buffer, sizeof buffer);
        if (count < 0 && errno == EINTR) continue;
        if (count <= 0) return changes;
        for (ssize_t at = 0; at < count;) {
            inotify_event event{};
            std::memcpy(&event, buffer + at, sizeof event);
            const char* const name = buffer + at + sizeof event;
            report(event.wd, event.mask, std::string(name, ::strnlen(name, event.len)), changes);
            at += static_cast<ssize_t>(sizeof event + event.len);
        }
    }
}

std::vector<FolderChange> FolderWatch::expectRoots() {
    std::vector<FolderChange> changes;
    for (Root& root : roots_) {
        Inode inode{};
        const bool there = isFolder(root.path, inode);
        if (inode == root.inode) continue;
        changes.push_back({FolderChange::What::kGone, root.path}); // what was there before
        forget(root.path);
        root.inode = inode;
        if (!there) continue;
        std::set<Inode> seen;
        watchTree(root.path, seen);
        changes.push_back({FolderChange::What::kFolder, root.path});
    }
    return changes;
}

} // namespace tarn::server
