// SPDX-License-Identifier: Apache-2.0
#include "recognise/cache/sqlite.h"

namespace tarn::recognise {

namespace {

constexpr int kBusyMs = 10'000; // another program writes

void expect(int wanted, int status, sqlite3* database) {
    if (status != wanted) throw SqliteError(database == nullptr ? sqlite3_errstr(status) : sqlite3_errmsg(database));
}

} // namespace

SqliteDatabase::SqliteDatabase(const std::filesystem::path& file) {
    sqlite3* opened = nullptr;
    const int status = sqlite3_open_v2(file.c_str(), &opened,
                                       SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX, nullptr);
    database_.reset(opened);
    expect(SQLITE_OK, status, opened);
    sqlite3_busy_timeout(opened, kBusyMs);
}

void SqliteDatabase::run(const char* statements) {
    expect(SQLITE_OK, sqlite3_exec(database_.get(), statements, nullptr, nullptr, nullptr), database_.get());
}

SqliteStatement::SqliteStatement(const SqliteDatabase& database, const char* text) : database_(database.get()) {
    sqlite3_stmt* prepared = nullptr;
    const int status = sqlite3_prepare_v3(database_, text, -1, SQLITE_PREPARE_PERSISTENT, &prepared, nullptr);
    statement_.reset(prepared);
    expect(SQLITE_OK, status, database_);
}

SqliteStatement& SqliteStatement::bind(int64_t number) {
    expect(SQLITE_OK, sqlite3_bind_int64(statement_.get(), ++bound_, number), database_);
    return *this;
}

SqliteStatement& SqliteStatement::bind(std::string_view bytes) {
    const int status =
        sqlite3_bind_blob64(statement_.get(), ++bound_, bytes.empty() ? "" : bytes.data(), bytes.size(), SQLITE_STATIC);
    expect(SQLITE_OK, status, database_);
    return *this;
}

std::optional<std::string> SqliteStatement::run() {
    bound_ = 0;
    const int status = sqlite3_step(statement_.get());
    std::optional<std::string> first;
    if (status == SQLITE_ROW && sqlite3_column_count(statement_.get()) > 0) {
        const void* bytes = sqlite3_column_blob(statement_.get(), 0);
        const int count = sqlite3_column_bytes(statement_.get(), 0);
        first.emplace(static_cast<const char*>(bytes == nullptr ? "" : bytes), static_cast<size_t>(count));
    }
    const std::string problem = status == SQLITE_ROW || status == SQLITE_DONE ? "" : sqlite3_errmsg(database_);
    sqlite3_reset(statement_.get());
    sqlite3_clear_bindings(statement_.get());
    if (!problem.empty()) throw SqliteError(problem);
    return first;
}

} // namespace tarn::recognise
