// SPDX-License-Identifier: Apache-2.0
// A SQLite database and its statements, closed by themselves.
#pragma once

#include <sqlite3.h>

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

namespace tarn::recognise {

class SqliteError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

class SqliteDatabase {
  public:
    // Makes the file where there is none. Throws SqliteError, as do the others.
    explicit SqliteDatabase(const std::filesystem::path& file);
    void run(const char* statements);
    sqlite3* get() const { return database_.get(); }

  private:
    struct Close {
        void operator()(sqlite3* database) const { sqlite3_close_v2(database); }
    };
    std::unique_ptr<sqlite3, Close> database_;
};

// A statement that is run again and again, with values for its question marks.
class SqliteStatement {
  public:
    SqliteStatement(const SqliteDatabase& database, const char* text);

    // Values are bound in order; bytes must live until run().
    SqliteStatement& bind(int64_t number);
    SqliteStatement& bind(std::string_view bytes);
    // The first column of the first row; nothing: there is no row. Makes the statement ready for the next values.
    std::optional<std::string> run();

  private:
    struct Finish {
        void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
    };
    sqlite3* database_;
    std::unique_ptr<sqlite3_stmt, Finish> statement_;
    int bound_ = 0;
};

} // namespace tarn::recognise
