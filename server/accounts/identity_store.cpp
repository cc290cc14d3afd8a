// SPDX-License-Identifier: Apache-2.0
#include "accounts/identity_store.h"

#include "accounts/private_file.h"
#include "base/bytes.h"
#include "base/file_lock.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace tarn::server {

namespace {

constexpr size_t kIdBytes = sizeof(uint32_t);
constexpr int64_t kEntryBytes = kIdBytes + sizeof(DeviceIdentity);

// bytes: of an identity.
DeviceIdentity identityOf(std::string_view bytes) {
    DeviceIdentity identity{};
    std::copy_n(bytes.begin(), identity.size(), identity.begin());
    return identity;
}

} // namespace

std::string randomBytes(size_t count) {
    std::string bytes(count, '\0');
    size_t filled = 0;
    while (filled < count) {
        const ssize_t got = getrandom(bytes.data() + filled, count - filled, 0);
        if (got > 0) {
            filled += static_cast<size_t>(got);
        } else if (errno != EINTR) {
            throw std::runtime_error(std::string("the system gives no random bytes: ") + std::strerror(errno));
        }
    }
    return bytes;
}

IdentityStore::IdentityStore(std::filesystem::path file, size_t mostPerAccount)
    : path_(std::move(file)), mostPerAccount_(mostPerAccount) {}

void IdentityStore::open() {
    const std::lock_guard guard(mutex_);
    openIfClosed();
    const FileLock lock(file_, path_);
    readMore();
}

void IdentityStore::openIfClosed() {
    if (file_.isOpen()) return;
    FileDescriptor file(::open(path_.c_str(), O_RDWR | O_CREAT | O_APPEND | O_CLOEXEC, 0600));
    if (!file.isOpen()) throw std::runtime_error(errnoText(path_, "cannot be opened for writing"));
    giveToFolderOwner(file, path_);
    file_ = std::move(file);
}

void IdentityStore::readMore() {
    struct stat status {};
    if (fstat(file_.get(), &status) != 0) throw std::runtime_error(errnoText(path_, "cannot be examined"));
    const int64_t whole = status.st_size / kEntryBytes * kEntryBytes;
    if (status.st_size != whole && ftruncate(file_.get(), whole) != 0) {
        throw std::runtime_error(errnoText(path_, "its incomplete last entry cannot be removed"));
    }
    while (readBytes_ < whole) {
        char buffer[kEntryBytes * 512];
        const auto wanted = static_cast<size_t>(std::min<int64_t>(whole - readBytes_, sizeof buffer));
        const ssize_t count = pread(file_.get(), buffer, wanted, readBytes_);
        if (count < 0 && errno == EINTR) continue;
        if (count < kEntryBytes) throw std::runtime_error(errnoText(path_, "cannot be read"));
        const int64_t entries = count / kEntryBytes;
        for (int64_t i = 0; i < entries; ++i) {
            std::string_view entry(buffer + i * kEntryBytes, kEntryBytes);
            const uint32_t accountId = takeLittleEndian<uint32_t>(entry).value();
            known_[accountId].insert(identityOf(entry));
        }
        readBytes_ += entries * kEntryBytes;
    }
}

std::optional<DeviceIdentity> IdentityStore::identityFor(uint32_t accountId, const std::string& presented) {
    const std::lock_guard guard(mutex_);
    openIfClosed();
    const FileLock lock(file_, path_);
    readMore();
    std::set<DeviceIdentity>& mine = known_[accountId];
    if (presented.size() == sizeof(DeviceIdentity) && mine.contains(identityOf(presented)))
        return identityOf(presented);
    if (mine.size() >= mostPerAccount_) return std::nullopt;

    const std::string fresh = randomBytes(sizeof(DeviceIdentity));
    std::string entry;
    appendLittleEndian(entry, accountId);
    writeWhole(file_, entry + fresh, path_);
    if (fdatasync(file_.get()) != 0) throw std::runtime_error(errnoText(path_, "cannot be synced"));
    readBytes_ += kEntryBytes;
    return *mine.insert(identityOf(fresh)).first;
}

} // namespace tarn::server
