// SPDX-License-Identifier: Apache-2.0
// A catalogue's folder, open.
//
//   FOLDER/catalogue.mdb        everything; a reader sees the last commit, whatever happens to the writer
//   FOLDER/catalogue.mdb-lock   who reads now; made anew when it is missing
//   FOLDER/writer.lock          locked by the writer while it lives
#pragma once

#include "base/file_lock.h"
#include "catalogue/errors.h"
#include "catalogue/lmdb/unchecked_leaves.h"

#include <lmdb.h>

#include <atomic>
#include <filesystem>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

namespace tarn::server::lmdb {

// How much of the file's structure is checked at opening, so that no damage leads LMDB astray: all of it, or, for the
// writer, what it comes to (unchecked_leaves.h).
enum class Check { kWhole, kAsReached };

// One for each folder in a process, shared by all who have it open: LMDB bears no more.
class Environment {
  public:
    // make: where there is nothing of a catalogue, an empty one is made. Throws CatalogueError.
    static std::shared_ptr<Environment> open(const std::filesystem::path& folder, bool make, Check check);

    MDB_env* get() const { return env_.get(); }
    std::filesystem::path file() const;
    // Whether the file is still the one that lies at its place.
    bool isInPlace() const;
    void expectInPlace() const; // throws CatalogueError
    // What is wrong with the file's structure as the transaction sees it; empty: nothing.
    std::string damage(MDB_txn* reading) const;
    // Throws CatalogueError for any status but 0.
    void expect(int status) const;

    // Where the file was not checked as a whole yet, each of these checks what LMDB may come to next. They throw
    // CatalogueError.
    void beforeReaching(std::string_view key) const;
    void beforeErasing(std::string_view key) const;
    void beforeWriting() const;
    void checkWhole() const;
    // The pages that were not checked yet, so that LMDB must not come to them.
    std::vector<uint64_t> uncheckedPages() const;

  private:
    Environment(std::filesystem::path folder, bool make, Check check);
    void openFile(bool make);
    void makeFile() const;
    void mapAndOpen(unsigned flags);

    struct Close {
        void operator()(MDB_env* env) const { mdb_env_close(env); }
    };

    std::filesystem::path folder_;
    std::unique_ptr<MDB_env, Close> env_;
    uint64_t inode_ = 0;

    mutable std::atomic<bool> whole_ = false; // checked
    mutable std::mutex checking_;             // of what follows
    mutable UncheckedLeaves unchecked_;
    mutable bool written_ = false;
};

// Held by the one writer; the system releases it when the process ends, however it ends.
class WriterLock {
  public:
    // Throws CatalogueError when another writer, in this process or another, holds it.
    explicit WriterLock(const std::filesystem::path& folder);

  private:
    FileDescriptor file_;
};

} // namespace tarn::server::lmdb
