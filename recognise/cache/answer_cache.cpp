// SPDX-License-Identifier: Apache-2.0
#include "recognise/cache/answer_cache.h"

#include "base/text.h"
#include "base/user_folder.h"
#include "recognise/cache/sqlite.h"
#include "recognise/json/answer_json.h"

#include <nlohmann/json.hpp>
#include <xxhash.h>

#include <system_error>

namespace tarn::recognise {

namespace {

// The numbers say whose file it is, and of which version. Values are JSON. After a power cut the last answers may be
// missing; a killed program loses none.
constexpr char kPrepare[] = "PRAGMA trusted_schema = OFF;"
                            "PRAGMA cell_size_check = ON;"
                            "PRAGMA journal_mode = WAL;"
                            "PRAGMA synchronous = NORMAL;";
constexpr char kMake[] = "BEGIN IMMEDIATE;"
                         "CREATE TABLE IF NOT EXISTS answers (source BLOB, question BLOB, asked INTEGER, value BLOB,"
                         "  PRIMARY KEY (source, question)) WITHOUT ROWID;"
                         "CREATE TABLE IF NOT EXISTS files (source BLOB, path BLOB, bytes INTEGER, modified INTEGER,"
                         "  asked INTEGER, value BLOB, PRIMARY KEY (source, path)) WITHOUT ROWID;"
                         "PRAGMA application_id = 1952543342;"
                         "PRAGMA user_version = 1;"
                         "COMMIT;";
constexpr char kOwner[] = "SELECT CAST((SELECT application_id FROM pragma_application_id) AS TEXT) || '.' ||"
                          " CAST((SELECT user_version FROM pragma_user_version) AS TEXT)";
constexpr char kNobody[] = "0.0";
constexpr char kOurs[] = "1952543342.1"; // "tarn", and the version of the tables

constexpr char kFindAnswer[] = "SELECT value FROM answers WHERE source = ? AND question = ? AND asked >= ?";
constexpr char kKeepAnswer[] = "INSERT OR REPLACE INTO answers VALUES (?, ?, ?, ?)";
constexpr char kFindFile[] =
    "SELECT value FROM files WHERE source = ? AND path = ? AND bytes = ? AND modified = ? AND asked >= ?";
constexpr char kKeepFile[] = "INSERT OR REPLACE INTO files VALUES (?, ?, ?, ?, ?, ?)";
constexpr char kForgetOld[] = "DELETE FROM answers WHERE asked < ?";
constexpr char kForgetOldFiles[] = "DELETE FROM files WHERE asked < ?";

int64_t secondsNow() {
    return std::chrono::duration_cast<std::chrono::seconds>(std::chrono::system_clock::now().time_since_epoch())
        .count();
}

std::string questionOf(std::span<const int16_t> samples) {
    const XXH128_hash_t hash = XXH3_128bits(samples.data(), samples.size_bytes());
    XXH128_canonical_t bytes;
    XXH128_canonicalFromHash(&bytes, hash);
    return {reinterpret_cast<const char*>(bytes.digest), sizeof bytes.digest};
}

// The database, ready, or a reason that names the file.
SqliteDatabase opened(const std::filesystem::path& file) {
    const std::string name = server::inOneLine(file.string());
    std::error_code error;
    std::filesystem::create_directories(file.parent_path(), error); // a failure shows when the file is opened
    try {
        SqliteDatabase database(file);
        database.run(kPrepare);
        const std::string owner = SqliteStatement(database, kOwner).run().value_or("");
        const std::string tables =
            SqliteStatement(database, "SELECT CAST(count(*) AS TEXT) FROM sqlite_schema").run().value_or("");
        if (owner != kOurs && (owner != kNobody || tables != "0")) {
            throw std::runtime_error(name + ": this is not a cache of this version; name another file with --cache");
        }
        if (owner != kOurs) database.run(kMake);
        return database;
    } catch (const SqliteError& problem) {
        throw std::runtime_error(name + ": the cache cannot be used: " + problem.what() +
                                 "; remove it, or name another file with --cache");
    }
}

} // namespace

struct AnswerCache::Impl {
    explicit Impl(Options given)
        : options(std::move(given)), database(opened(options.file)),
          oldest(secondsNow() - std::chrono::duration_cast<std::chrono::seconds>(options.longest).count()) {}

    // Looks or keeps; a failure ends the use of the cache.
    template <class Work>
    auto guarded(Work work) -> decltype(work()) {
        const std::lock_guard lock(mutex);
        if (!failure.empty()) return {};
        try {
            return work();
        } catch (const SqliteError& error) {
            failure = server::inOneLine(options.file.string()) + ": the cache is not used any more: " + error.what();
            return {};
        }
    }

    Options options;
    std::mutex mutex;
    SqliteDatabase database;
    int64_t oldest;
    std::string failure;
    SqliteStatement findAnswer{database, kFindAnswer};
    SqliteStatement keepAnswer{database, kKeepAnswer};
    SqliteStatement findFile{database, kFindFile};
    SqliteStatement keepFile{database, kKeepFile};
};

AnswerCache::AnswerCache(Options options) {
    const std::string name = server::inOneLine(options.file.string());
    try {
        impl_ = std::make_unique<Impl>(std::move(options));
        SqliteStatement(impl_->database, kForgetOld).bind(impl_->oldest).run();
        SqliteStatement(impl_->database, kForgetOldFiles).bind(impl_->oldest).run();
    } catch (const SqliteError& error) {
        throw std::runtime_error(name + ": the cache cannot be used: " + error.what() +
                                 "; remove it, or name another file with --cache");
    }
}

AnswerCache::~AnswerCache() = default;

std::optional<Answer> AnswerCache::answerTo(std::span<const int16_t> samples) {
    if (impl_->options.refresh) return std::nullopt;
    return impl_->guarded([&]() -> std::optional<Answer> {
        const std::string question = questionOf(samples);
        const auto value = impl_->findAnswer.bind(impl_->options.source).bind(question).bind(impl_->oldest).run();
        return value ? answerFrom(*value) : std::nullopt;
    });
}

void AnswerCache::keep(std::span<const int16_t> samples, const Answer& answer) {
    impl_->guarded([&] {
        const std::string question = questionOf(samples);
        const std::string value = server::lineOf(toJson(answer));
        impl_->keepAnswer.bind(impl_->options.source).bind(question).bind(secondsNow()).bind(value).run();
        return true;
    });
}

std::optional<FileResult> AnswerCache::resultOf(const FileIdentity& file) {
    if (impl_->options.refresh) return std::nullopt;
    return impl_->guarded([&]() -> std::optional<FileResult> {
        const auto value = impl_->findFile.bind(impl_->options.source)
                               .bind(file.path)
                               .bind(static_cast<int64_t>(file.bytes))
                               .bind(file.modifiedNs)
                               .bind(impl_->oldest)
                               .run();
        return value ? resultFrom(*value) : std::nullopt;
    });
}

void AnswerCache::keep(const FileIdentity& file, const FileResult& result) {
    if (result.status == FileStatus::kError) return;
    impl_->guarded([&] {
        const std::string value = server::lineOf(toJson(result));
        impl_->keepFile.bind(impl_->options.source)
            .bind(file.path)
            .bind(static_cast<int64_t>(file.bytes))
            .bind(file.modifiedNs)
            .bind(secondsNow())
            .bind(value)
            .run();
        return true;
    });
}

std::string AnswerCache::failure() const {
    const std::lock_guard lock(impl_->mutex);
    return impl_->failure;
}

std::filesystem::path usualCacheFile() {
    return server::userFolder("XDG_CACHE_HOME", ".cache") / "tarn/answers.sqlite";
}

} // namespace tarn::recognise
