// SPDX-License-Identifier: Apache-2.0
#include "accounts/private_file.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace tarn::server {

namespace {

std::filesystem::path folderOf(const std::filesystem::path& file) {
    return file.has_parent_path() ? file.parent_path() : std::filesystem::path(".");
}

[[noreturn]] void fail(const std::filesystem::path& file, const std::string& what) {
    throw std::runtime_error(errnoText(file, what));
}

} // namespace

FileDescriptor::~FileDescriptor() {
    if (descriptor_ >= 0) close(descriptor_);
}

FileDescriptor::FileDescriptor(FileDescriptor&& other) noexcept : descriptor_(std::exchange(other.descriptor_, -1)) {}

FileDescriptor& FileDescriptor::operator=(FileDescriptor&& other) noexcept {
    if (this != &other) {
        if (descriptor_ >= 0) close(descriptor_);
        descriptor_ = std::exchange(other.descriptor_, -1);
    }
    return *this;
}

int FileDescriptor::release() { return std::exchange(descriptor_, -1); }

std::string errnoText(const std::filesystem::path& file, const std::string& what) {
    const int error = errno;
    return file.string() + ": " + what + ": " + std::strerror(error);
}

std::string readWhole(const FileDescriptor& descriptor, const std::filesystem::path& file) {
    std::string bytes;
    char buffer[8192];
    for (;;) {
        const ssize_t count = read(descriptor.get(), buffer, sizeof buffer);
        if (count == 0) return bytes;
        if (count > 0) {
            bytes.append(buffer, static_cast<size_t>(count));
        } else if (errno != EINTR) {
            fail(file, "cannot be read");
        }
    }
}

void writeWhole(const FileDescriptor& descriptor, const std::string& bytes, const std::filesystem::path& file) {
    size_t written = 0;
    while (written < bytes.size()) {
        const ssize_t count = write(descriptor.get(), bytes.data() + written, bytes.size() - written);
        if (count >= 0) {
            written += static_cast<size_t>(count);
        } else if (errno != EINTR) {
            fail(file, "cannot be written");
        }
    }
}

void giveToFolderOwner(const FileDescriptor& descriptor, const std::filesystem::path& file) {
    if (geteuid() != 0) return;
    struct stat folder {};
    if (stat(folderOf(file).c_str(), &folder) != 0 || fchown(descriptor.get(), folder.st_uid, folder.st_gid) != 0) {
        fail(file, "cannot be given to the owner of its folder");
    }
}

void replacePrivateFile(const std::filesystem::path& file, const std::string& bytes) {
    std::string name = file.string() + ".new-XXXXXX";
    FileDescriptor descriptor(mkostemp(name.data(), O_CLOEXEC)); // mode 0600
    if (!descriptor.isOpen()) fail(file, "no file can be made beside it");
    try {
        giveToFolderOwner(descriptor, file);
        writeWhole(descriptor, bytes, file);
        if (fsync(descriptor.get()) != 0) fail(file, "cannot be synced");
        if (close(descriptor.release()) != 0) fail(file, "cannot be closed");
        if (rename(name.c_str(), file.c_str()) != 0) fail(file, "cannot be replaced");
    } catch (...) {
        unlink(name.c_str());
        throw;
    }
    const FileDescriptor folder(open(folderOf(file).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!folder.isOpen() || fsync(folder.get()) != 0) fail(folderOf(file), "cannot be synced");
}

} // namespace tarn::server
