// SPDX-License-Identifier: Apache-2.0
#include "accounts/identity_store.h"

#include <algorithm>
#include <bit>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace tarn::server {

namespace {

static_assert(std::endian::native == std::endian::little, "entries are written as they lie in memory");
constexpr size_t kIdBytes = sizeof(uint32_t);
constexpr int64_t kEntryBytes = kIdBytes + sizeof(IdentityStore::Identity);

// Among servers that share the file; a file has one lock per open descriptor.
class SharedLock {
  public:
    SharedLock(int descriptor, const std::filesystem::path& file) : descriptor_(descriptor) {
        while (flock(descriptor_, LOCK_EX) != 0) {
            if (errno != EINTR) throw std::runtime_error(errnoText(file, "cannot be locked"));
        }
    }
    ~SharedLock() { flock(descriptor_, LOCK_UN); }
    SharedLock(const SharedLock&) = delete;
    SharedLock& operator=(const SharedLock&) = delete;

  private:
    int descriptor_;
};

} // namespace

std::string randomBytes(size_t count) {
    std::string bytes(count, '\0');
    size_t filled = 0;
    while (filled < count) {
        const ssize_t got = getrandom(bytes.data() + filled, count - filled, 0);
        if (got > 0) {
            filled += static_cast<size_t>(got);
        } else if (errno != EINTR) {
            throw std::runtime_error(std::string("no random bytes: ") + std::strerror(errno));
        }
    }
    return bytes;
}

IdentityStore::IdentityStore(std::filesystem::path file, size_t mostPerAccount)
    : path_(std::move(file)), mostPerAccount_(mostPerAccount) {}

void IdentityStore::open() {
    const std::lock_guard guard(mutex_);
    openIfClosed();
    const SharedLock lock(file_.get(), path_);
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
        throw std::runtime_error(errnoText(path_, "cannot be mended"));
    }
    while (readBytes_ < whole) {
        char buffer[kEntryBytes * 512];
        const auto wanted = static_cast<size_t>(std::min<int64_t>(whole - readBytes_, sizeof buffer));
        const ssize_t count = pread(file_.get(), buffer, wanted, readBytes_);
        if (count < 0 && errno == EINTR) continue;
        if (count < kEntryBytes) throw std::runtime_error(errnoText(path_, "cannot be read"));
        const int64_t entries = count / kEntryBytes;
        for (int64_t i = 0; i < entries; ++i) {
            const char* entry = buffer + i * kEntryBytes;
            uint32_t accountId = 0;
            Identity identity;
            std::memcpy(&accountId, entry, kIdBytes);
            std::memcpy(identity.data(), entry + kIdBytes, identity.size());
            known_[accountId].insert(identity);
        }
        readBytes_ += entries * kEntryBytes;
    }
}

std::optional<IdentityStore::Identity> IdentityStore::identityFor(uint32_t accountId, const std::string& presented) {
    const std::lock_guard guard(mutex_);
    openIfClosed();
    const SharedLock lock(file_.get(), path_);
    readMore();
    std::set<Identity>& mine = known_[accountId];
    Identity identity;
    if (presented.size() == identity.size()) {
        std::memcpy(identity.data(), presented.data(), identity.size());
        if (mine.contains(identity)) return identity;
    }
    if (mine.size() >= mostPerAccount_) return std::nullopt;

    const std::string fresh = randomBytes(identity.size());
    std::memcpy(identity.data(), fresh.data(), identity.size());
    std::string entry(sizeof accountId, '\0');
    std::memcpy(entry.data(), &accountId, sizeof accountId);
    writeWhole(file_, entry + fresh, path_);
    if (fdatasync(file_.get()) != 0) throw std::runtime_error(errnoText(path_, "cannot be synced"));
    readBytes_ += kEntryBytes;
    mine.insert(identity);
    return identity;
}

} // namespace tarn::server
