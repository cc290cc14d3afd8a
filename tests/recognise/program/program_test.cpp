// SPDX-License-Identifier: Apache-2.0
// The program as users run it, with the server's program beside it.
#include "recognise/batch/run.h"

#include "recognise/music_file.h"
#include "support/fault_proxy.h"
#include "support/files.h"
#include "support/melody.h"
#include "support/server/known_catalogue.h"

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

#include <chrono>
#include <csignal>
#include <thread>

namespace {

using kvxtest::CatalogueService;
using kvxtest::Ended;
using kvxtest::knownCatalogue;
using kvxtest::melody;
using Json = nlohmann::json;
using testing::HasSubstr;

constexpr uint32_t kKnownPieces[] = {3, 4, 6};
constexpr size_t kSecond = tarn::server::kEngineRateHz;

std::vector<Json> objectsIn(const std::string& lines) {
    std::vector<Json> objects;
    std::istringstream in(lines);
    for (std::string line; std::getline(in, line);) objects.push_back(Json::parse(line));
    return objects;
}

class Program : public testing::Test {
  protected:
    void SetUp() override {
        kvxtest::writePrivate(folder_ / "code", knownCatalogue().account() + "\n");
        cache_ = folder_.file("cache.sqlite");
    }

    std::vector<std::string> words(const std::vector<std::string>& more) const {
        std::vector<std::string> all = {
            TARN_RECOGNISE_TOOL, "--code-file", folder_.file("code"), "--cache", cache_, "--jobs", "2"};
        all.insert(all.end(), more.begin(), more.end());
        return all;
    }
    Ended run(const std::vector<std::string>& more) const { return kvxtest::runProgram(words(more)); }
    Ended ask(const CatalogueService& service, const std::vector<std::string>& more) const {
        std::vector<std::string> all = {"--server", "http://" + service.address() + "/", "--format", "ndjson"};
        all.insert(all.end(), more.begin(), more.end());
        return run(all);
    }

    static std::vector<std::string> knownFiles() {
        std::vector<std::string> files;
        for (const uint32_t piece : kKnownPieces) files.push_back(knownCatalogue().file(piece));
        return files;
    }
    // Unknown music.
    std::string unknownFile() const {
        std::string file = folder_.file("unknown.wav");
        kvxtest::writeMusic(file, melody(900, 40));
        return file;
    }

    kvxtest::TemporaryDirectory folder_;
    std::string cache_;
};

TEST_F(Program, GetsTheSameAnswersFromAServerAndFromItsCatalogue) {
    const CatalogueService service(knownCatalogue(), knownCatalogue().catalogue());
    const Ended asked = ask(service, knownFiles());
    EXPECT_EQ(asked.status, 0) << asked.err;
    std::vector<std::string> words = {"--catalogue", knownCatalogue().catalogue().string(), "--format", "ndjson"};
    for (const std::string& file : knownFiles()) words.push_back(file);
    const Ended looked = run(words);
    EXPECT_EQ(looked.status, 0) << looked.err;
    std::vector<Json> fromServer = objectsIn(asked.out);
    std::vector<Json> fromCatalogue = objectsIn(looked.out);
    ASSERT_EQ(fromServer.size(), 3U);
    ASSERT_EQ(fromCatalogue.size(), 3U);
    for (size_t i = 0; i < 3; ++i) {
        EXPECT_EQ(fromServer[i]["path"], knownFiles()[i]);
        EXPECT_EQ(fromServer[i]["status"], "matched");
        Json& match = fromCatalogue[i]["matches"][0];
        EXPECT_EQ(match["title"], kvxtest::KnownCatalogue::titleOf(kKnownPieces[i]));
        EXPECT_EQ(match["path"], knownFiles()[i]);
        EXPECT_TRUE(match.contains("offset_ms"));
        EXPECT_NEAR(match["duration_ms"].get<double>(), kvxtest::KnownCatalogue::kSeconds * 1000.0, 5);
        match.erase("path"); // which no server says
        EXPECT_EQ(fromServer[i], fromCatalogue[i]);
    }
}

TEST_F(Program, SaysByItsStatusWhatCameOfTheFiles) {
    const CatalogueService service(knownCatalogue(), knownCatalogue().catalogue());
    const std::string known = knownCatalogue().file(3);
    const std::string missing = folder_.file("missing.wav");
    EXPECT_EQ(ask(service, {known}).status, 0);
    EXPECT_EQ(ask(service, {known, unknownFile()}).status, 1);
    EXPECT_EQ(ask(service, {known, unknownFile(), missing}).status, 2);
    EXPECT_EQ(ask(service, {missing}).status, 2);
    EXPECT_EQ(run({"--server", "http://127.0.0.1:1/", "--no-cache", "--retries", "0", known, missing}).status, 3);
    EXPECT_EQ(run({"--catalogue", folder_.file("nothing"), known}).status, 3);
    EXPECT_EQ(run({known}).status, 64);
    EXPECT_EQ(run({"--catalogue", "x"}).status, 64);
    EXPECT_EQ(run({"--catalogue", "x", "--server", "http://x/", known}).status, 64);
    EXPECT_EQ(run({"--catalogue", "x", "--format", "html", known}).status, 64);
    EXPECT_EQ(run({"--catalogue", "x", "--null", known}).status, 64);
}

TEST_F(Program, PrintsNothingBesidesItsResultsWhereNobodyLooks) {
    const std::string catalogue = knownCatalogue().catalogue().string();
    const Ended usual = run({"--catalogue", catalogue, knownCatalogue().file(3)});
    EXPECT_THAT(usual.err, testing::MatchesRegex("1 file: 1 matched, 0 unknown, 0 unreadable; [0-9:]+\n"));
    const Ended quiet =
        run({"--catalogue", catalogue, "--quiet", "--output", folder_.file("out"), knownCatalogue().file(3)});
    EXPECT_EQ(quiet.err, "");
    EXPECT_EQ(quiet.out, "");
    EXPECT_THAT(kvxtest::contents(folder_ / "out"), HasSubstr("Artist 3 - Title 3"));
}

TEST_F(Program, RefusesACodeThatOthersCanRead) {
    std::filesystem::permissions(folder_ / "code", std::filesystem::perms::group_read,
                                 std::filesystem::perm_options::add);
    const Ended ended = run({"--server", "http://127.0.0.1:1/", knownCatalogue().file(3)});
    EXPECT_EQ(ended.status, 3);
    EXPECT_THAT(ended.err, HasSubstr("run chmod 600 on it"));
    EXPECT_EQ(ended.out, "");
}

TEST_F(Program, GetsThroughToAServerWhoseConnectionsAreCut) {
    // It ends idle connections soon, for which the proxy waits.
    const kvxtest::ServiceProcess service({kvxtest::serverProgram(), "serve", "--listen", "127.0.0.1:0", "--catalogue",
                                           knownCatalogue().catalogue().string(), "--accounts",
                                           knownCatalogue().accounts().string(), "--request-seconds", "1"});
    using Kind = kvxtest::Fault::Kind;
    kvxtest::FaultProxy proxy(service.port(), {{Kind::kCloseAnswer, 20},
                                               {Kind::kResetRequest, 100},
                                               {Kind::kResetAnswer, 0},
                                               {Kind::kCloseAnswer, 200},
                                               {Kind::kSingleBytes, 0}});
    const Ended ended = run({"--server", "http://" + proxy.host(), "--format", "ndjson", "--retries", "8",
                             knownCatalogue().file(3), knownCatalogue().file(4), knownCatalogue().file(6)});
    EXPECT_EQ(ended.status, 0) << ended.out << ended.err;
    EXPECT_GE(proxy.connections(), 5U);
}

// What is done to a file, and what comes of it.
struct Spoiled {
    const char* name; // may be of any bytes
    std::function<void(const std::filesystem::path&)> spoil;
    const char* status;
    const char* code; // of an error
};

std::string soundOf(uint32_t piece) { return kvxtest::contents(knownCatalogue().file(piece)); }

void put(const std::filesystem::path& file, const std::string& bytes) {
    std::ofstream(file, std::ios::binary) << bytes;
}

const std::vector<Spoiled> kSpoiled = {
    {"whole.wav", [](const auto& file) { put(file, soundOf(3)); }, "matched", ""},
    {"two words.wav", [](const auto& file) { put(file, soundOf(4)); }, "matched", ""},
    {"two\nlines.wav", [](const auto& file) { put(file, soundOf(6)); }, "matched", ""},
    {"no \xe9\xff utf8.wav", [](const auto& file) { put(file, soundOf(3)); }, "matched", ""},
    {"-dash.wav", [](const auto& file) { put(file, soundOf(3)); }, "matched", ""},
    {"\x1b[2Jcontrol.wav", [](const auto& file) { put(file, soundOf(3)); }, "matched", ""},
    {"wrong name.mp3", [](const auto& file) { put(file, soundOf(3)); }, "matched", ""},
    {"unknown.wav", [](const auto& file) { kvxtest::writeMusic(file, melody(901, 40)); }, "unknown", ""},
    {"silence.wav", [](const auto& file) { kvxtest::writeMusic(file, std::vector<int16_t>(40 * kSecond)); }, "unknown",
     ""},
    {"missing.wav", [](const auto&) {}, "error", "not-found"},
    {"empty.wav", [](const auto& file) { put(file, ""); }, "error", "unreadable"},
    {"text.mp3", [](const auto& file) { put(file, "a letter\n"); }, "error", "unreadable"},
    {"zeros.flac", [](const auto& file) { put(file, std::string(100'000, '\0')); }, "error", "unreadable"},
    {"header alone.wav", [](const auto& file) { put(file, soundOf(3).substr(0, 44)); }, "error", "unreadable"},
    {"cut in its header.wav", [](const auto& file) { put(file, soundOf(3).substr(0, 20)); }, "error", "unreadable"},
    {"cut after 20 s.wav", [](const auto& file) { put(file, soundOf(3).substr(0, 20 * 22050)); }, "matched", ""},
    {"cut after 5 s.wav", [](const auto& file) { put(file, soundOf(3).substr(0, 5 * 22050)); }, "error", "too-short"},
    {"short.wav", [](const auto& file) { kvxtest::writeMusic(file, melody(3, 6)); }, "error", "too-short"},
    {"no rate.wav", [](const auto& file) { put(file, soundOf(3).replace(24, 4, 4, '\0')); }, "error", "unreadable"},
    {"no channels.wav", [](const auto& file) { put(file, soundOf(3).replace(22, 2, 2, '\0')); }, "error", "unreadable"},
    {"low rate.wav", [](const auto& file) { put(file, soundOf(3).replace(24, 4, std::string("\x40\x1f\0\0", 4))); },
     "error", "unreadable"},
    {"picture.png", [](const auto& file) { put(file, "\x89PNG\r\n\x1a\n" + std::string(1000, 'p')); }, "error",
     "unreadable"},
    {"pipe.wav", [](const auto& file) { ASSERT_EQ(mkfifo(file.c_str(), 0600), 0); }, "error", "unreadable"},
    {"loop.wav", [](const auto& file) { std::filesystem::create_symlink(file, file); }, "error", "not-found"},
    {"to nothing.wav", [](const auto& file) { std::filesystem::create_symlink("nothing", file); }, "error",
     "not-found"},
    {"link.wav", [](const auto& file) { std::filesystem::create_symlink(knownCatalogue().file(3), file); }, "matched",
     ""},
};

TEST_F(Program, GivesTheExpectedResultForEveryFile) {
    std::string list;
    for (const Spoiled& each : kSpoiled) {
        each.spoil(folder_ / each.name);
        list += folder_.file(each.name) + '\0';
    }
    put(folder_ / "list", list);
    const CatalogueService service(knownCatalogue(), knownCatalogue().catalogue());
    for (int round = 0; round < 2; ++round) { // the second by the cache
        const Ended ended = ask(service, {"--files-from", folder_.file("list"), "-0"});
        EXPECT_EQ(ended.status, 2);
        const std::vector<Json> results = objectsIn(ended.out);
        ASSERT_EQ(results.size(), kSpoiled.size());
        for (size_t i = 0; i < results.size(); ++i) {
            EXPECT_EQ(results[i]["status"], kSpoiled[i].status) << results[i];
            const std::string code = results[i].contains("error") ? results[i]["error"]["code"] : "";
            EXPECT_EQ(code, kSpoiled[i].code) << results[i];
        }
    }
}

size_t requestsIn(const std::string& log) {
    size_t count = 0;
    for (size_t at = log.find("kind=fingerprint"); at != std::string::npos; at = log.find("kind=fingerprint", at + 1)) {
        ++count;
    }
    return count;
}

// Each file has its own sound. What was answered before a kill is not asked for again; what was on its way then is.
TEST_F(Program, AsksForNothingTwiceAfterItWasKilled) {
    constexpr size_t kFiles = 24;
    std::filesystem::create_directory(folder_ / "music");
    for (uint32_t i = 0; i < kFiles; ++i) {
        kvxtest::writeMusic(folder_ / "music" / (std::to_string(i) + ".wav"), melody(500 + i, 9));
    }
    const CatalogueService service(knownCatalogue(), knownCatalogue().catalogue());
    const std::vector<std::string> all =
        words({"--server", "http://" + service.address(), "--format", "ndjson", folder_.file("music")});
    size_t onTheWay = 0;
    for (const size_t untilLines : {2U, 6U, 11U, 17U}) {
        const kvxtest::OutputFile out;
        const kvxtest::OutputFile err;
        kvxtest::Process process(all, {.out = out.descriptor(), .err = err.descriptor()});
        while (objectsIn(out.text().substr(0, out.text().rfind('\n') + 1)).size() < untilLines && !process.isOver()) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        process.signal(SIGKILL);
        process.wait();
        onTheWay += 2; // one for each job
    }
    const Ended last = kvxtest::runProgram(all);
    EXPECT_EQ(last.status, 1) << last.err;
    EXPECT_EQ(objectsIn(last.out).size(), kFiles);
    const size_t asked = requestsIn(service.log());
    EXPECT_GE(asked, kFiles);
    EXPECT_LE(asked, kFiles + onTheWay);
    const Ended again = kvxtest::runProgram(all);
    EXPECT_EQ(again.out, last.out);
    EXPECT_EQ(requestsIn(service.log()), asked);
    EXPECT_THAT(again.err, HasSubstr("24 known from the cache"));
}

TEST_F(Program, KeepsAnswersOfACatalogueUntilItChanges) {
    const auto catalogue = knownCatalogue().copy();
    const std::vector<std::string> words = {"--catalogue", catalogue.string(), knownCatalogue().file(3)};
    EXPECT_EQ(run(words).status, 0);
    EXPECT_THAT(run(words).err, HasSubstr("1 known from the cache"));
    ASSERT_EQ(knownCatalogue().run("remove", catalogue, {"4"}).status, 0);
    const Ended ended = run(words);
    EXPECT_EQ(ended.status, 1) << ended.out; // piece 3 had the number 4
    EXPECT_THAT(ended.err, testing::Not(HasSubstr("cache")));
}

TEST_F(Program, GoesOnWithoutACacheThatCannotBeUsed) {
    put(folder_ / "cache.sqlite", "something else entirely, of some length");
    const Ended ended = run({"--catalogue", knownCatalogue().catalogue().string(), knownCatalogue().file(3)});
    EXPECT_EQ(ended.status, 0);
    EXPECT_THAT(ended.err, HasSubstr("going on without a cache"));
    EXPECT_EQ(kvxtest::contents(folder_ / "cache.sqlite"), "something else entirely, of some length");
}

} // namespace
