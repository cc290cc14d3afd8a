// SPDX-License-Identifier: Apache-2.0
#include "accounts/private_file.h"

#include <cstdlib>
#include <fcntl.h>
#include <stdexcept>
#include <sys/stat.h>
#include <unistd.h>

namespace tarn::server {

namespace {

std::filesystem::path folderOf(const std::filesystem::path& file) {
    return file.has_parent_path() ? file.parent_path() : std::filesystem::path(".");
}

[[noreturn]] void fail(const std::filesystem::path& file, const std::string& what) {
    throw std::runtime_error(errnoText(file, what));
}

} // namespace

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
    if (!descriptor.isOpen()) fail(file, "a new file next to it cannot be created");
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
