// SPDX-License-Identifier: Apache-2.0
#include "base/file_lock.h"

#include <cerrno>
#include <stdexcept>
#include <sys/file.h>

namespace tarn::server {

FileLock::FileLock(const FileDescriptor& file, const std::filesystem::path& name) : descriptor_(file.get()) {
    while (flock(descriptor_, LOCK_EX) != 0) {
        if (errno != EINTR) throw std::runtime_error(errnoText(name, "cannot be locked"));
    }
}

FileLock::~FileLock() { flock(descriptor_, LOCK_UN); }

int lockIfFree(const FileDescriptor& file) { return flock(file.get(), LOCK_EX | LOCK_NB) == 0 ? 0 : errno; }

} // namespace tarn::server
