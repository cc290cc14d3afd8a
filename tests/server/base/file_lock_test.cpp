// SPDX-License-Identifier: Apache-2.0
#include "base/file_lock.h"

#include "support/temporary_directory.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <fcntl.h>
#include <optional>
#include <thread>

using namespace tarn::server;

namespace {

FileDescriptor opened(const std::filesystem::path& file) {
    return FileDescriptor(open(file.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
}

} // namespace

TEST(FileLock, KeepsOthersOutUntilItGoes) {
    const kvxtest::TemporaryDirectory folder;
    const FileDescriptor mine = opened(folder / "lock");
    const FileDescriptor theirs = opened(folder / "lock");
    std::optional<FileLock> lock(std::in_place, mine, folder / "lock");
    EXPECT_EQ(lockIfFree(theirs), EWOULDBLOCK);
    lock.reset();
    EXPECT_EQ(lockIfFree(theirs), 0);
}

TEST(FileLock, IsWaitedFor) {
    const kvxtest::TemporaryDirectory folder;
    const FileDescriptor mine = opened(folder / "lock");
    const FileDescriptor theirs = opened(folder / "lock");
    std::optional<FileLock> lock(std::in_place, mine, folder / "lock");
    std::atomic<bool> released = false;
    std::thread other([&] {
        const FileLock second(theirs, folder / "lock");
        EXPECT_TRUE(released);
    });
    released = true;
    lock.reset();
    other.join();
}

TEST(FileLock, NamesTheFileThatCannotBeLocked) {
    const FileDescriptor none;
    try {
        const FileLock lock(none, "some/lock");
        FAIL() << "locked";
    } catch (const std::runtime_error& error) {
        EXPECT_STREQ(error.what(), "some/lock: cannot be locked: Bad file descriptor");
    }
    EXPECT_EQ(lockIfFree(none), EBADF);
}
