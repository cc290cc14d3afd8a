// SPDX-License-Identifier: Apache-2.0
// A catalogue's LMDB file of any bytes.
//
// Holds: the check of its pages ends and says the same twice; in a file of which it finds nothing wrong LMDB, which
// trusts what it reads, comes to every key and small value.
#include "catalogue/lmdb/page_check.h"

#include "fuzz_target.h"
#include "memory_file.h"

#include <lmdb.h>
#include <memory>
#include <string>

namespace {

using namespace tarn::server;

constexpr size_t kMapBytes = size_t{1} << 26; // LMDB takes the size of the file where that is more
constexpr size_t kSmallBytes = 484;           // of a value that lies among its keys

struct Close {
    void operator()(MDB_env* environment) const { mdb_env_close(environment); }
    void operator()(MDB_txn* reading) const { mdb_txn_abort(reading); }
    void operator()(MDB_cursor* cursor) const { mdb_cursor_close(cursor); }
};

unsigned sumOf(const MDB_val& bytes) {
    unsigned sum = 0;
    for (size_t i = 0; i < bytes.mv_size; ++i) sum += static_cast<const uint8_t*>(bytes.mv_data)[i];
    return sum;
}

void walk(MDB_txn* reading) {
    MDB_dbi tree = 0;
    MDB_stat about{};
    MDB_cursor* opened = nullptr;
    REQUIRE(mdb_dbi_open(reading, nullptr, 0, &tree) == 0 && mdb_stat(reading, tree, &about) == 0);
    REQUIRE(mdb_cursor_open(reading, tree, &opened) == 0);
    const std::unique_ptr<MDB_cursor, Close> cursor(opened);
    MDB_val key{};
    MDB_val value{};
    size_t entries = 0;
    volatile unsigned sum = 0; // so that the bytes are read
    while (mdb_cursor_get(cursor.get(), &key, &value, MDB_NEXT) == 0) {
        ++entries;
        sum = sum + sumOf(key);
        if (value.mv_size <= kSmallBytes) sum = sum + sumOf(value);
    }
    REQUIRE(entries == about.ms_entries);
}

} // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static fuzz::MemoryFile file;
    file.hold({data, size});
    const std::string path = file.path();
    const std::string problem = lmdb::headProblem(path);
    REQUIRE(lmdb::headProblem(path) == problem);
    if (!problem.empty()) return 0;
    MDB_env* created = nullptr;
    REQUIRE(mdb_env_create(&created) == 0);
    const std::unique_ptr<MDB_env, Close> environment(created);
    REQUIRE(mdb_env_set_mapsize(created, kMapBytes) == 0);
    MDB_txn* begun = nullptr;
    if (mdb_env_open(created, path.c_str(), MDB_RDONLY | MDB_NOLOCK | MDB_NOSUBDIR, 0) != 0) return 0;
    if (mdb_txn_begin(created, nullptr, MDB_RDONLY, &begun) != 0) return 0;
    const std::unique_ptr<MDB_txn, Close> reading(begun);
    const std::string wrong = lmdb::structureProblem(path, mdb_txn_id(begun));
    REQUIRE(lmdb::structureProblem(path, mdb_txn_id(begun)) == wrong);
    if (wrong.empty()) walk(begun);
    return 0;
}
