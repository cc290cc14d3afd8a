// SPDX-License-Identifier: Apache-2.0
// Locks on open files, among all processes and threads that open the file for themselves. The system lets go of a lock
// when its process ends, however it ends.
#pragma once

#include "base/file_descriptor.h"

#include <filesystem>

namespace tarn::server {

// Held from its making, which waits for it, to its end.
class FileLock {
  public:
    // The file stays open as long. name: for the text of the std::runtime_error that is thrown where it cannot be
    // locked.
    FileLock(const FileDescriptor& file, const std::filesystem::path& name);
    ~FileLock();
    FileLock(const FileLock&) = delete;
    FileLock& operator=(const FileLock&) = delete;

  private:
    int descriptor_;
};

// Takes the lock, until the file is closed, or does not wait for it. Returns 0, or an errno: EWOULDBLOCK where another
// holds it.
int lockIfFree(const FileDescriptor& file);

} // namespace tarn::server
