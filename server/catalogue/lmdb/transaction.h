// SPDX-License-Identifier: Apache-2.0
// A transaction on a catalogue's file: what LMDB is asked, and what must be checked before it is.
#pragma once

#include "catalogue/lmdb/environment.h"

#include <functional>
#include <string_view>

namespace tarn::server::lmdb {

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

} // namespace tarn::server::lmdb
