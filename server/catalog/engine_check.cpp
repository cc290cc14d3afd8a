// SPDX-License-Identifier: Apache-2.0
#include "catalog/engine_check.h"

#include "catalog/engine.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <sstream>

namespace fs = std::filesystem;

namespace tarn::server {

namespace {

// The engine's check opens every table for writing, though it writes nothing.
bool mayWrite(const fs::path& database) {
    for (const fs::directory_entry& entry : fs::directory_iterator(database)) {
        if (::access(entry.path().c_str(), W_OK) != 0) return false;
    }
    return true;
}

std::string found(size_t errors) {
    return errors == 0 ? std::string() : std::to_string(errors) + " errors in its tables";
}

// Every term with its postings, every text, and what the documents say of their terms.
void readAll(const Xapian::Database& database) {
    Xapian::doccount documents = 0;
    Xapian::docid last = 0;
    forEachPosting(database, "", [&](Xapian::docid id) {
        ++documents;
        last = id;
    });
    if (documents != database.get_doccount() || last > database.get_lastdocid()) {
        throw Xapian::DatabaseCorruptError("it does not hold as many recordings as it should");
    }
    for (auto term = database.allterms_begin(); term != database.allterms_end(); ++term) {
        Xapian::doccount holders = 0;
        forEachPosting(database, *term, [&](Xapian::docid) { ++holders; });
        if (holders != term.get_termfreq()) throw Xapian::DatabaseCorruptError("a list has lost a part");
    }
    for (auto key = database.metadata_keys_begin(); key != database.metadata_keys_end(); ++key) {
        if (database.get_metadata(*key).empty()) throw Xapian::DatabaseCorruptError("a text is lost");
    }
}

std::string look(const fs::path& database) {
    try {
        if (mayWrite(database)) {
            std::ostringstream report;
            return found(Xapian::Database::check(database.string(), 0, &report));
        }
        readAll(Xapian::Database(database.string()));
        return {};
    } catch (const Xapian::Error& error) {
        return error.get_type() + std::string(": ") + error.get_msg();
    } catch (const std::exception& error) {
        return error.what();
    }
}

[[noreturn]] void lookAndTell(const fs::path& database, int answer) {
    // What a dying process has to say is said below in one line.
    const int nothing = ::open("/dev/null", O_WRONLY | O_CLOEXEC);
    if (nothing >= 0) ::dup2(nothing, STDERR_FILENO);
    const std::string damage = look(database);
    const bool told = ::write(answer, damage.data(), damage.size()) == static_cast<ssize_t>(damage.size());
    ::_exit(told ? 0 : 1);
}

} // namespace

std::string engineDamage(const fs::path& database) {
    std::array<int, 2> ends{};
    if (::pipe2(ends.data(), O_CLOEXEC) != 0) throw CatalogError(failure(database.string(), errno));
    const pid_t child = ::fork();
    if (child == 0) lookAndTell(database, ends[1]);
    const int error = errno;
    ::close(ends[1]);
    std::string damage;
    std::array<char, 1024> bytes{};
    for (ssize_t count = 0; child > 0 && (count = ::read(ends[0], bytes.data(), bytes.size())) != 0;) {
        if (count > 0) damage.append(bytes.data(), static_cast<size_t>(count));
        if (count < 0 && errno != EINTR) break;
    }
    ::close(ends[0]);
    if (child < 0) throw CatalogError(failure(database.string(), error));
    int status = 0;
    while (::waitpid(child, &status, 0) < 0 && errno == EINTR) continue;
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) damage = "its tables cannot even be checked";
    return damage.empty() ? damage : database.string() + ": " + damage + "; " + kRestore;
}

} // namespace tarn::server
