// SPDX-License-Identifier: Apache-2.0
#include "catalogue/lmdb/environment.h"

#include "catalogue/lmdb/page_check.h"
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

std::shared_ptr<Environment> Environment::open(const fs::path& folder, bool make) {
    static std::mutex mutex;
    static std::map<fs::path, std::weak_ptr<Environment>> open;
    const std::lock_guard lock(mutex);
    std::error_code error;
    fs::path name = fs::canonical(folder, error);
    if (!error) {
        std::erase_if(open, [](const auto& each) { return each.second.expired(); });
        if (auto environment = open[name].lock(); environment && environment->isInPlace()) return environment;
    }
    // Not make_shared, which would keep the memory while a weak pointer lives.
    std::shared_ptr<Environment> environment(new Environment(folder, make));
    name = fs::canonical(folder, error);
    if (!error) open[name] = environment;
    return environment;
}

Environment::Environment(fs::path folder, bool make) : folder_(std::move(folder)) {
    openFile(make);
    for (int look = 0;; ++look) {
        const Transaction reading(*this, Transaction::Kind::kRead);
        const std::string problem = damage(reading.get());
        if (problem.empty()) break;
        // A writer that commits while we look leaves us pages of two ages.
        if (look == kLooks) throw CatalogueError(problem);
    }
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
        throw CatalogueError(file().string() + " is no file; " + kRestore);
    }
    if (!there) {
        if (errno == ENOTDIR) throw CatalogueError(folder_.string() + " is no folder: a catalogue lies in a folder");
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

Transaction::Transaction(const Environment& environment, Kind kind) : environment_(environment) {
    environment.expect(mdb_txn_begin(environment.get(), nullptr, kind == Kind::kRead ? MDB_RDONLY : 0, &txn_));
    const int status = mdb_dbi_open(txn_, nullptr, 0, &tree_);
    if (status == 0) return;
    mdb_txn_abort(std::exchange(txn_, nullptr));
    environment.expect(status);
}

Transaction::~Transaction() {
    if (txn_ != nullptr) mdb_txn_abort(txn_);
}

void Transaction::commit() { environment_.expect(mdb_txn_commit(std::exchange(txn_, nullptr))); }

namespace {

// LMDB does not write to what it is given as a key or a value.
MDB_val valOf(std::string_view bytes) { return {bytes.size(), const_cast<char*>(bytes.data())}; }
std::string_view viewOf(const MDB_val& value) { return {static_cast<const char*>(value.mv_data), value.mv_size}; }

} // namespace

bool Transaction::get(std::string_view key, std::string_view& bytes) const {
    MDB_val name = valOf(key);
    MDB_val value{};
    const int status = mdb_get(txn_, tree_, &name, &value);
    if (status == MDB_NOTFOUND) return false;
    environment_.expect(status);
    bytes = viewOf(value);
    return true;
}

void Transaction::put(std::string_view key, std::string_view bytes) {
    MDB_val name = valOf(key);
    MDB_val value = valOf(bytes);
    environment_.expect(mdb_put(txn_, tree_, &name, &value, 0));
}

void Transaction::erase(std::string_view key) {
    MDB_val name = valOf(key);
    const int status = mdb_del(txn_, tree_, &name, nullptr);
    if (status != MDB_NOTFOUND) environment_.expect(status);
}

void Transaction::forEach(std::string_view prefix,
                          const std::function<bool(std::string_view, std::string_view)>& visit) const {
    struct Cursor {
        MDB_cursor* cursor = nullptr;
        ~Cursor() {
            if (cursor != nullptr) mdb_cursor_close(cursor);
        }
    } at;
    environment_.expect(mdb_cursor_open(txn_, tree_, &at.cursor));
    MDB_val key = valOf(prefix);
    MDB_val value{};
    int status = mdb_cursor_get(at.cursor, &key, &value, prefix.empty() ? MDB_FIRST : MDB_SET_RANGE);
    for (; status == 0; status = mdb_cursor_get(at.cursor, &key, &value, MDB_NEXT)) {
        if (!viewOf(key).starts_with(prefix) || !visit(viewOf(key), viewOf(value))) return;
    }
    if (status != MDB_NOTFOUND) environment_.expect(status);
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
