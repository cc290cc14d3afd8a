// SPDX-License-Identifier: Apache-2.0
// A catalogue's folder, open.
//
//   FOLDER/catalogue.mdb        everything; a reader sees the last commit, whatever happens to the writer
//   FOLDER/catalogue.mdb-lock   who reads now; made anew when it is missing
//   FOLDER/writer.lock          locked by the writer while it lives
#pragma once

#include "base/file_lock.h"
#include "catalogue/errors.h"

#include <lmdb.h>

#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace tarn::server::lmdb {

// One for each folder in a process, shared by all who have it open: LMDB bears no more.
class Environment {
  public:
    // make: where there is nothing of a catalogue, an empty one is made. Checks the file's structure first, so that no
    // damage leads a reader or the writer astray. Throws CatalogueError.
    static std::shared_ptr<Environment> open(const std::filesystem::path& folder, bool make);

    MDB_env* get() const { return env_.get(); }
    std::filesystem::path file() const;
    // Whether the file is still the one that lies at its place.
    bool isInPlace() const;
    void expectInPlace() const; // throws CatalogueError
    // What is wrong with the file's structure as the transaction sees it; empty: nothing.
    std::string damage(MDB_txn* reading) const;
    // Throws CatalogueError for any status but 0.
    void expect(int status) const;

  private:
    Environment(std::filesystem::path folder, bool make);
    void openFile(bool make);
    void makeFile() const;
    void mapAndOpen(unsigned flags);

    struct Close {
        void operator()(MDB_env* env) const { mdb_env_close(env); }
    };

    std::filesystem::path folder_;
    std::unique_ptr<MDB_env, Close> env_;
    uint64_t inode_ = 0;
};

// A transaction that ends with this object, and changes nothing unless commit() is called.
class Transaction {
  public:
    enum class Kind { kRead, kWrite };
    Transaction(const Environment& environment, Kind kind);
    ~Transaction();
    Transaction(const Transaction&) = delete;
    Transaction& operator=(const Transaction&) = delete;

    MDB_txn* get() const { return txn_; }
    MDB_dbi tree() const { return tree_; }
    void commit();
    // Of a reading one: lets go of what it sees, and looks anew.
    void reset() { mdb_txn_reset(txn_); }
    void renew() { environment_.expect(mdb_txn_renew(txn_)); }

    // Nothing there: false.
    bool get(std::string_view key, std::string_view& bytes) const;
    void put(std::string_view key, std::string_view bytes);
    void erase(std::string_view key);
    // Everything under keys that begin so, in their order, while visit() says true.
    void forEach(std::string_view prefix,
                 const std::function<bool(std::string_view key, std::string_view bytes)>& visit) const;

  private:
    const Environment& environment_;
    MDB_txn* txn_ = nullptr;
    MDB_dbi tree_ = 0;
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
