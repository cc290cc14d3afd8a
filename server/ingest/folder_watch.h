// SPDX-License-Identifier: Apache-2.0
// What happens in folders and everything below them, as the system reports it (inotify).
#pragma once

#include "base/file_descriptor.h"

#include <map>
#include <set>
#include <stdexcept>
#include <string>
#include <sys/types.h>
#include <utility>
#include <vector>

namespace tarn::server {

// Folders cannot be watched; the text says why and what to do.
class FolderWatchError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

struct FolderChange {
    enum class What {
        kBegun,   // a file is being written
        kWritten, // a file is there and closed
        kFolder,  // a folder has come; what it holds may not be reported
        kGone,    // a file or a folder
        kLost,    // the system has dropped reports; anything may have changed
    };
    What what = What::kLost;
    std::string path;

    bool operator==(const FolderChange&) const = default;
};

// Hidden files and folders are left out, links to folders are followed. Paths are canonical, but for the name of a file
// that is a link.
class FolderWatch {
  public:
    // Throws FolderWatchError. Of folders that are missing, expectRoots() sees when they come.
    explicit FolderWatch(const std::vector<std::string>& folders);

    // Readable when there are changes.
    int descriptor() const { return inotify_.get(); }
    // Those since the last call; does not wait.
    std::vector<FolderChange> read();
    // The folders that are others than before, because a disk was mounted or unmounted, as changes. Nothing reports
    // that, so call it now and then.
    std::vector<FolderChange> expectRoots();

  private:
    using Inode = std::pair<dev_t, ino_t>;
    struct Root {
        std::string path;
        Inode inode{};
    };

    void watchTree(const std::string& folder, std::set<Inode>& seen);
    void watchAll();
    void forget(const std::string& folder);
    void report(int watch, uint32_t mask, const std::string& name, std::vector<FolderChange>& changes);

    FileDescriptor inotify_;
    std::vector<Root> roots_;
    std::map<int, std::string> folders_; // by number of the watch
};

} // namespace tarn::server
