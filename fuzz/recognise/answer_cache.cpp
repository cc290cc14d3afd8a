// SPDX-License-Identifier: Apache-2.0
// The file of the cache, with bytes of it changed: the input lists places and values, three bytes each.
//
// Holds: the cache is refused with a way out, or is used until it finds damage; what it gives is a whole answer.
#include "recognise/cache/answer_cache.h"

#include "fuzz_target.h"
#include "recognise/cache/sqlite.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using namespace tarn::recognise;

AnswerCache::Options optionsFor(const std::filesystem::path& file) {
    return {.file = file, .source = "server", .longest = std::chrono::hours(24), .refresh = false};
}

Answer answerNumber(int16_t number) {
    Answer answer;
    answer.matches.emplace_back();
    answer.matches.back().title = std::to_string(number);
    return answer;
}

// A folder in memory where there is one.
std::filesystem::path folder() {
    const char* base = std::filesystem::is_directory("/dev/shm") ? "/dev/shm" : "/tmp";
    std::string name = std::string(base) + "/tarn-fuzz-XXXXXX";
    REQUIRE(mkdtemp(name.data()) != nullptr);
    return name;
}

// Gone with the program.
class Place {
  public:
    Place() : folder_(folder()) {}
    ~Place() {
        std::error_code ignored;
        std::filesystem::remove_all(folder_, ignored);
    }
    Place(const Place&) = delete;
    Place& operator=(const Place&) = delete;
    std::filesystem::path file() const { return folder_ / "cache"; }

  private:
    std::filesystem::path folder_;
};

std::string soundFile(const std::filesystem::path& file) {
    {
        AnswerCache cache(optionsFor(file));
        for (int16_t i = 0; i < 40; ++i) cache.keep(std::vector<int16_t>{i}, answerNumber(i));
    }
    SqliteDatabase(file).run("PRAGMA wal_checkpoint(TRUNCATE)");
    std::ifstream in(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

} // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const Place place;
    static const std::string sound = soundFile(place.file());
    std::string damaged = sound;
    for (size_t i = 0; i + 3 <= size; i += 3) {
        damaged[(data[i] | size_t{data[i + 1]} << 8) % damaged.size()] = static_cast<char>(data[i + 2]);
    }
    for (const char* more : {"-wal", "-shm"}) std::filesystem::remove(place.file().string() + more);
    std::ofstream(place.file(), std::ios::binary) << damaged;
    try {
        AnswerCache cache(optionsFor(place.file()));
        for (int16_t i = 0; i < 40; ++i) {
            const auto answer = cache.answerTo(std::vector<int16_t>{i});
            REQUIRE(!answer || answer->matches.size() <= 1 || size > 3);
            cache.keep(std::vector<int16_t>{i}, answerNumber(i));
        }
        FileResult result;
        result.status = FileStatus::kUnknown;
        cache.keep({"/a", 1, 2}, result);
        (void)cache.resultOf({"/a", 1, 2});
    } catch (const std::runtime_error& error) {
        REQUIRE(std::string(error.what()).find("name another file with --cache") != std::string::npos);
    }
    return 0;
}
