// SPDX-License-Identifier: Apache-2.0
#include "catalogue/lmdb/environment.h"

#include "catalogue/lmdb/keys.h"
#include "catalogue/lmdb/lmdb_store.h"
#include "catalogue/lmdb/transaction.h"
#include "catalogue/remedies.h"

#include <fcntl.h>
#include <linux/magic.h>
#include <sys/stat.h>
#include <sys/statfs.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <map>
#include <mutex>
#include <utility>

namespace fs = std::filesystem;

namespace tarn::server::lmdb {

namespace {

constexpr char kFile[] = "catalogue.mdb";
constexpr mode_t kMode = 0666; // the user's mask decides
// Address space, not memory: room for 10^8 recordings. Where there is less to have, the most that there is.
constexpr size_t kMaxBytes = size_t{1} << 41;
constexpr size_t kMinBytes = size_t{1} << 26;
constexpr unsigned kMaxReaders = 1000;
constexpr int kLooks = 8;

CatalogueError failed(const fs::path& path) { return CatalogueError(failure(path.string(), errno)); }

// LMDB reads the file as memory that all processes share, which no network gives it.
void expectLocal(const fs::path& folder) {
    constexpr std::array kRemote = {long{NFS_SUPER_MAGIC}, 0xff534d42L /* cifs */, 0xfe534d42L /* smb2 */,
                                    0x01021997L /* 9p */,  0x00c36400L /* ceph */, long{AFS_SUPER_MAGIC}};
    struct statfs about {};
    if (::statfs(folder.c_str(), &about) != 0) throw failed(folder);
    if (std::find(kRemote.begin(), kRemote.end(), static_cast<long>(about.f_type)) == kRemote.end()) return;
    throw CatalogueError(folder.string() +
                         " lies on a network file system, where a catalogue cannot be kept; keep it on "
                         "a disk of this machine, or in a cluster (redis://HOST:PORT)");
}

void expectNotOlder(const fs::path& folder) {
    std::error_code error;
    for (const auto& entry : fs::directory_iterator(folder, error)) {
        const std::string name = entry.path().filename().string();
        if (name != "current" && !name.starts_with("generation-")) continue;
        throw CatalogueError(folder.string() +
                             ": the catalogue is of another version of the format; make it anew: move this folder away "
                             "and run tarn-server add for the music");
    }
}

} // namespace

std::optional<int64_t> lastWritten(const fs::path& folder) {
    struct stat status {};
    if (::stat((folder / kFile).c_str(), &status) != 0) return std::nullopt;
    return status.st_mtim.tv_sec * int64_t{1'000'000'000} + status.st_mtim.tv_nsec;
}

std::shared_ptr<Environment> Environment::open(const fs::path& folder, bool make, Check check) {
    static std::mutex mutex;
    static std::map<fs::path, std::weak_ptr<Environment>> open;
    const std::lock_guard lock(mutex);
    std::error_code error;
    fs::path name = fs::canonical(folder, error);
    if (!error) {
        std::erase_if(open, [](const auto& each) { return each.second.expired(); });
        if (auto environment = open[name].lock(); environment && environment->isInPlace()) {
            if (check == Check::kWhole) environment->checkWhole();
            return environment;
        }
    }
    // Not make_shared, which would keep the memory while a weak pointer lives.
    std::shared_ptr<Environment> environment(new Environment(folder, make, check));
    name = fs::canonical(folder, error);
    if (!error) open[name] = environment;
    return environment;
}

Environment::Environment(fs::path folder, bool make, Check check) : folder_(std::move(folder)) {
    openFile(make);
    if (check == Check::kWhole) {
        checkWhole();
        return;
    }
    const Transaction reading(*this, Transaction::Kind::kRead);
    const std::string problem = unchecked_.open(file(), mdb_txn_id(reading.get()));
    if (!problem.empty()) throw CatalogueError(problem);
}

fs::path Environment::file() const { return folder_ / kFile; }

bool Environment::isInPlace() const {
    struct stat about {};
    return ::stat(file().c_str(), &about) == 0 && about.st_ino == inode_;
}

void Environment::expectInPlace() const {
    if (!isInPlace()) throw CatalogueError(file().string() + " was moved away or replaced; " + kRestore);
}

void Environment::openFile(bool make) {
    struct stat about {};
    const bool there = ::stat(file().c_str(), &about) == 0;
    if (!there && errno != ENOENT && errno != ENOTDIR) throw failed(file());
    if (there && !S_ISREG(about.st_mode)) {
        throw CatalogueError(file().string() + " is not a file; " + kRestore);
    }
    if (!there) {
        if (errno == ENOTDIR) throw CatalogueError(folder_.string() + " is not a folder: a catalogue lies in a folder");
        expectNotOlder(folder_);
        // Beside a lock there was a catalogue; what is made here now would be taken for it.
        if (fs::exists(file().string() + "-lock")) {
            throw CatalogueError(file().string() + " is missing; " + kRestore + ", and remove the folder " +
                                 folder_.string() + " before that");
        }
        if (!make) {
            throw CatalogueError("there is no catalogue at " + folder_.string() + "; tarn-server add makes one");
        }
        expectLocal(folder_);
        makeFile();
    } else if (const std::string problem = headProblem(file()); !problem.empty()) {
        throw CatalogueError(problem);
    }
    expectLocal(folder_);
    const bool mayWrite = ::access(file().c_str(), W_OK) == 0 && ::access(folder_.c_str(), W_OK) == 0;
    mapAndOpen(mayWrite ? 0U : MDB_RDONLY);
    int dead = 0;
    if (mayWrite) expect(mdb_reader_check(get(), &dead));
}

// An empty one, all at once: what a full disk leaves of it is no catalogue.
void Environment::makeFile() const {
    const fs::path making = file().string() + ".new";
    std::error_code error;
    fs::remove(making, error);
    MDB_env* env = nullptr;
    expect(mdb_env_create(&env));
    const std::unique_ptr<MDB_env, Close> closing(env);
    int status = mdb_env_open(env, making.c_str(), MDB_NOSUBDIR | MDB_NOLOCK, kMode);
    if (status == 0) status = mdb_env_sync(env, 1);
    if (status == 0 && ::rename(making.c_str(), file().c_str()) != 0) status = errno;
    if (status == 0) return;
    fs::remove(making, error);
    expect(status);
}

void Environment::mapAndOpen(unsigned flags) {
    // No locks for a reader that may not even write the table of readers.
    if ((flags & MDB_RDONLY) != 0 && ::access((file().string() + "-lock").c_str(), W_OK) != 0) flags |= MDB_NOLOCK;
    int status = ENOMEM;
    for (size_t bytes = kMaxBytes; status == ENOMEM && bytes >= kMinBytes; bytes /= 2) {
        MDB_env* env = nullptr;
        expect(mdb_env_create(&env));
        env_.reset(env); // one that could not be opened is of no more use
        expect(mdb_env_set_mapsize(env, bytes));
        expect(mdb_env_set_maxreaders(env, kMaxReaders));
        status = mdb_env_open(env, file().c_str(), MDB_NOSUBDIR | MDB_NOTLS | MDB_NORDAHEAD | flags, kMode);
    }
    expect(status);
    struct stat about {};
    int file = -1;
    expect(mdb_env_get_fd(get(), &file));
    if (::fstat(file, &about) == 0) inode_ = about.st_ino;
}

void Environment::checkWhole() const {
    if (whole_) return;
    const std::lock_guard lock(checking_);
    for (int look = 0; !whole_; ++look) {
        const Transaction reading(*this, Transaction::Kind::kRead);
        const std::string problem = damage(reading.get());
        // A writer that commits while we look leaves us pages of two ages.
        if (!problem.empty() && look == kLooks) throw CatalogueError(problem);
        whole_ = problem.empty();
    }
    unchecked_ = {};
}

void Environment::beforeReaching(std::string_view key) const {
    if (whole_) return;
    if (!key.starts_with(kRunKeys) && !key.starts_with(kValueKeys)) return checkWhole();
    const std::lock_guard lock(checking_);
    if (const std::string problem = unchecked_.reach(key); !problem.empty()) throw CatalogueError(problem);
}

void Environment::beforeErasing(std::string_view key) const {
    if (!key.starts_with(kRunKeys)) return checkWhole();
    if (whole_) return;
    const std::lock_guard lock(checking_);
    if (const std::string problem = unchecked_.reachOneMore(); !problem.empty()) throw CatalogueError(problem);
}

void Environment::beforeWriting() const {
    if (std::exchange(written_, true)) checkWhole();
}

std::vector<uint64_t> Environment::uncheckedPages() const {
    const std::lock_guard lock(checking_);
    return unchecked_.pages();
}

std::string Environment::damage(MDB_txn* reading) const { return structureProblem(file(), mdb_txn_id(reading)); }

void Environment::expect(int status) const {
    if (status == 0) return;
    if (status > 0) throw CatalogueError(failure(file().string(), status));
    const std::string what = file().string() + ": " + mdb_strerror(status) + "; ";
    switch (status) {
    case MDB_READERS_FULL:
        throw CatalogueUnavailable(what + "too many read it at once: end some of them");
    case MDB_MAP_FULL:
        throw CatalogueError(what + "raise the limit of address space (ulimit -v)");
    case MDB_TXN_FULL:
        throw CatalogueError(what + "commit less at once (--batch)");
    default:
        throw CatalogueError(what + "tarn-server check says what is damaged; then " + kRestore);
    }
}

WriterLock::WriterLock(const fs::path& folder) {
    const fs::path path = folder / "writer.lock";
    file_ = FileDescriptor(::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0644));
    if (!file_.isOpen()) throw failed(path);
    const int error = lockIfFree(file_);
    if (error == 0) return;
    if (error != EWOULDBLOCK) throw CatalogueError(failure(path.string(), error));
    throw CatalogueError("The catalogue " + folder.string() +
                         " is being written by another process; try again when it is done");
}

} // namespace tarn::server::lmdb
