// SPDX-License-Identifier: Apache-2.0
// One file of a catalogue is missing, cannot be read, is cut or has a wrong byte; then every command. None may take
// what it cannot read for nothing, delete what is still good, or crash; each says what is wrong and what to do. How a
// catalogue lies on the disk does not matter here: everything under its folder is damaged in turn.
#include "support/rounds.h"
#include "support/server/known_catalogue.h"

#include <algorithm>
#include <array>
#include <gmock/gmock.h>
#include <random>
#include <sys/stat.h>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;
using namespace kvxtest;
using testing::HasSubstr;

constexpr uid_t kNobody = 65534;

struct Damage {
    std::string name;
    fs::path path; // below the catalogue's folder
    std::function<void(const fs::path& file)> apply;
    bool asNobody = false; // run by a user who may not read the file
};

std::vector<fs::path> everythingIn(const fs::path& folder) {
    std::vector<fs::path> paths;
    for (const auto& entry : fs::recursive_directory_iterator(folder)) {
        paths.push_back(fs::relative(entry.path(), folder));
    }
    std::sort(paths.begin(), paths.end());
    return paths;
}

void flip(const fs::path& file, size_t place, unsigned mask) {
    std::string bytes = contents(file);
    bytes[place] = static_cast<char>(static_cast<unsigned char>(bytes[place]) ^ mask);
    std::ofstream(file, std::ios::binary) << bytes;
}

std::vector<Damage> wholeFileDamages(const fs::path& catalogue) {
    std::vector<Damage> damages;
    for (const fs::path& path : everythingIn(catalogue)) {
        damages.push_back({"missing", path, [](const fs::path& file) { fs::remove_all(file); }});
        damages.push_back({"unreadable", path, [](const fs::path& file) { ::chmod(file.c_str(), 0); }, true});
        if (fs::is_directory(catalogue / path)) continue;
        damages.push_back({"a folder", path, [](const fs::path& file) {
                               fs::remove(file);
                               fs::create_directory(file);
                           }});
        const auto size = fs::file_size(catalogue / path);
        std::set<uintmax_t> sizes = {0, size / 2};
        if (size > 0) sizes.insert(size - 1);
        for (const uintmax_t kept : sizes) {
            if (kept >= size) continue;
            damages.push_back({"cut to " + std::to_string(kept), path,
                               [kept](const fs::path& file) { fs::resize_file(file, kept); }});
        }
    }
    return damages;
}

std::vector<Damage> flips(const fs::path& catalogue, size_t count) {
    std::vector<fs::path> files;
    for (const fs::path& path : everythingIn(catalogue)) {
        if (fs::is_regular_file(catalogue / path) && fs::file_size(catalogue / path) > 0) files.push_back(path);
    }
    std::mt19937 dice(12);
    std::vector<Damage> damages;
    for (size_t i = 0; i < count; ++i) {
        const fs::path& path = files[i % files.size()];
        const size_t place = dice() % fs::file_size(catalogue / path);
        // Any wrong byte, or one wrong bit.
        const auto mask = static_cast<unsigned>(i % 3 == 0 ? 1 + dice() % 255 : 1U << dice() % 8);
        damages.push_back({"byte " + std::to_string(place) + " xor " + std::to_string(mask), path,
                           [=](const fs::path& file) { flip(file, place, mask); }});
    }
    return damages;
}

bool saysWhatToDo(const std::string& text) {
    for (const char* remedy : {"restore the ", "tarn-server remove", "limit of open files", "run this as the user",
                               "tarn-server add", "tarn-server compact", "make it anew", "adding its file"}) {
        if (text.find(remedy) != std::string::npos) return true;
    }
    return false;
}

class Trial {
  public:
    Trial(const KnownCatalogue& known, const Damage& damage) : known_(known), damage_(damage) {}

    static constexpr int kParts = 8;

    void part(int number) {
        switch (number) {
        case 0:
            return look();
        case 1:
            return identify(2);
        case 2:
            return identify(4);
        case 3:
            return change("add", {known_.file(KnownCatalogue::kNew)});
        case 4:
            return change("remove", {"3"});
        case 5:
            return change("compact", {});
        case 6:
            return change("compact", {"--purge"});
        default:
            return serve();
        }
    }

    // Look-ups that did not find their piece, and those of them that said no reason.
    static inline int notFound = 0;
    static inline int untold = 0;

  private:
    void prepareDamage() {
        copy_ = known_.copy();
        before_ = everythingIn(copy_);
        if (damage_.asNobody) {
            ASSERT_EQ(::chmod(known_.folder().c_str(), 0755), 0);
            for (const fs::path& path : before_) ASSERT_EQ(::chown((copy_ / path).c_str(), kNobody, kNobody), 0);
            ASSERT_EQ(::chown(copy_.c_str(), kNobody, kNobody), 0);
        }
        damage_.apply(copy_ / damage_.path);
    }

    Ended run(const std::string& command, const std::vector<std::string>& more = {}) {
        const bool asNobody = damage_.asNobody;
        Ended ended = known_.run(command, copy_, more, [asNobody] {
            if (asNobody && (::setgid(kNobody) != 0 || ::setuid(kNobody) != 0)) _exit(126);
        });
        EXPECT_GE(ended.status, 0) << command << " crashed: " << ended.err;
        EXPECT_LE(ended.status, 2) << command << ": " << ended.err;
        if (ended.status == 1 && !ended.err.empty()) {
            EXPECT_TRUE(saysWhatToDo(ended.err)) << command << ": " << ended.err;
        }
        return ended;
    }

    // Nothing but true lines; all of them, or an error.
    void expectTrueList(const Ended& listed, const std::set<std::string>& may, const std::set<std::string>& must) {
        const std::set<std::string> lines = linesOf(listed.out);
        for (const std::string& line : lines) EXPECT_TRUE(may.contains(line)) << "a false line: " << line;
        if (listed.status != 0) {
            EXPECT_NE(listed.err, "");
            return;
        }
        for (const std::string& line : must) EXPECT_TRUE(lines.contains(line)) << "lost: " << line;
    }

    void look() {
        prepareDamage();
        const Ended listed = run("list");
        expectTrueList(listed, known_.list(), known_.list());
        const Ended checked = run("check");
        EXPECT_EQ(checked.status == 0, checked.err.empty()) << checked.err;
        if (listed.status != 0) {
            EXPECT_NE(checked.status, 0) << "check sees nothing of: " << listed.err;
        }
        const Ended stats = run("stats");
        if (stats.status == 0) {
            EXPECT_THAT(stats.out, HasSubstr("recordings   4\n"));
        }
    }

    void identify(uint32_t piece) {
        prepareDamage();
        const Ended ended = run("identify", {known_.file(piece)});
        if (ended.status == 0 && ended.out.find(KnownCatalogue::titleOf(piece)) != std::string::npos) return;
        ++notFound; // or taken for another piece, now that the right one is not there
        if (ended.err.empty()) ++untold;
    }

    void change(const std::string& command, const std::vector<std::string>& more) {
        prepareDamage();
        const Ended changed = run(command, more);
        if (changed.status != 0) {
            EXPECT_NE(changed.err, "");
        }
        const Ended listed = run("list");
        std::set<std::string> may = known_.list();
        std::set<std::string> must = may;
        for (const std::string& line : known_.list()) {
            if (command == "remove" && line.starts_with("3\t")) must.erase(line);
            // What a purge removes, it names.
            if (changed.err.find("removed " + line.substr(0, line.find('\t')) + ", which was damaged") !=
                std::string::npos) {
                must.erase(line);
            }
        }
        if (command == "add") {
            for (const std::string& line : linesOf(listed.out)) {
                if (line.find(known_.file(KnownCatalogue::kNew)) != std::string::npos) may.insert(line);
            }
        }
        expectTrueList(listed, may, must);
        if (changed.status == 0) return;
        // What could not be done has left everything where it was: with the good file again, all is there.
        const std::vector<fs::path> after = everythingIn(copy_);
        for (const fs::path& path : before_) {
            const bool damaged = path.string().starts_with(damage_.path.string());
            if (damaged) continue;
            EXPECT_TRUE(fs::exists(copy_ / path)) << "deleted: " << path;
        }
        fs::remove_all(copy_ / damage_.path);
        fs::copy(known_.catalogue() / damage_.path, copy_ / damage_.path, fs::copy_options::recursive);
        const Ended mended = known_.run("list", copy_);
        EXPECT_EQ(mended.status, 0) << mended.err;
        expectTrueList(mended, may, must);
    }

    void serve() {
        if (damage_.asNobody) return; // the service runs as it is started
        prepareDamage();
        CatalogueService service(known_, copy_);
        ASSERT_TRUE(service.isUp()) << service.log();
        for (const uint32_t piece : {2U, 4U}) {
            const HttpAnswer answer = exchange(service.port(), known_.request(piece));
            ASSERT_TRUE(answer.status == 200 || answer.status == 503) << answer.status << service.log();
            if (answer.status == 503) {
                EXPECT_TRUE(saysWhatToDo(service.log())) << service.log();
            } else if (answer.body.find(KnownCatalogue::titleOf(piece)) == std::string::npos) {
                ++notFound;
                if (service.log().find("passed over") == std::string::npos) ++untold;
            }
        }
        service.terminate();
        EXPECT_EQ(service.wait(), 0);
    }

    const KnownCatalogue& known_;
    const Damage& damage_;
    fs::path copy_;
    std::vector<fs::path> before_;
};

// Of every damage one command in turn; all of them where tests are to go on for longer.
void tryAll(const std::vector<Damage>& damages) {
    const bool all = kvxtest::rounds(1) > 1;
    int number = 0;
    for (const Damage& damage : damages) {
        if (damage.asNobody && ::geteuid() != 0) continue;
        SCOPED_TRACE(damage.path.string() + ": " + damage.name);
        for (int part = 0; part < Trial::kParts; ++part) {
            if (!all && part != number % Trial::kParts) continue;
            SCOPED_TRACE("part " + std::to_string(part));
            Trial(knownCatalogue(), damage).part(part);
        }
        ++number;
    }
    testing::Test::RecordProperty("damages", number);
    testing::Test::RecordProperty("notFound", Trial::notFound);
    testing::Test::RecordProperty("untold", Trial::untold);
    std::cout << number << " damages; not found " << Trial::notFound << ", of which untold " << Trial::untold << '\n';
}

} // namespace

TEST(DamagedCatalogue, WithoutAFileIsNeverTakenForAnEmptyOne) {
    tryAll(wholeFileDamages(knownCatalogue().catalogue()));
    EXPECT_EQ(Trial::untold, 0);
}

TEST(DamagedCatalogue, WithAWrongByteIsNeverTakenForAnEmptyOne) {
    constexpr uint32_t kUsual = 16;
    tryAll(flips(knownCatalogue().catalogue(), kvxtest::rounds(kUsual)));
    // Nothing guards the lists of who holds what against a wrong bit; a query has many of them.
    EXPECT_EQ(Trial::untold, 0);
}
