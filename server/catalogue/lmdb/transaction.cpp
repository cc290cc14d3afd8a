// SPDX-License-Identifier: Apache-2.0
#include "catalogue/lmdb/transaction.h"

#include "catalogue/lmdb/keys.h"

#include <utility>

namespace tarn::server::lmdb {

Transaction::Transaction(const Environment& environment, Kind kind) : environment_(environment) {
    if (kind == Kind::kWrite) environment.beforeWriting();
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
    environment_.beforeReaching(key);
    MDB_val name = valOf(key);
    MDB_val value{};
    const int status = mdb_get(txn_, tree_, &name, &value);
    if (status == MDB_NOTFOUND) return false;
    environment_.expect(status);
    bytes = viewOf(value);
    return true;
}

void Transaction::put(std::string_view key, std::string_view bytes) {
    environment_.beforeReaching(key);
    MDB_val name = valOf(key);
    MDB_val value = valOf(bytes);
    environment_.expect(mdb_put(txn_, tree_, &name, &value, 0));
}

void Transaction::erase(std::string_view key) {
    environment_.beforeErasing(key);
    environment_.beforeReaching(key);
    MDB_val name = valOf(key);
    const int status = mdb_del(txn_, tree_, &name, nullptr);
    if (status != MDB_NOTFOUND) environment_.expect(status);
}

void Transaction::forEach(std::string_view prefix,
                          const std::function<bool(std::string_view, std::string_view)>& visit) const {
    if (!prefix.starts_with(kRunKeys)) environment_.checkWhole(); // comes to all leaves that hold it
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

} // namespace tarn::server::lmdb
