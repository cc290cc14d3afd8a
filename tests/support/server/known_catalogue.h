// SPDX-License-Identifier: Apache-2.0
// A catalogue made by the program, with everything in it that a catalogue may hold, and what is known of it.
#pragma once

#include "coding/query_coder.h"
#include "demo/audio_writer.h"
#include "support/files.h"
#include "support/process.h"
#include "support/raw_client.h"
#include "support/server/accounts.h"
#include "support/server/server_program.h"
#include "support/service_process.h"

#include <gtest/gtest.h>

#include <set>
#include <sstream>

namespace kvxtest {

inline std::set<std::string> linesOf(const std::string& text) {
    std::set<std::string> lines;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) lines.insert(line);
    return lines;
}

// Pieces of half a minute and a little; some added first and merged, some later; one of each removed.
class KnownCatalogue {
  public:
    static constexpr int kRateHz = 11025;
    static constexpr uint32_t kSeconds = 34;
    static constexpr uint32_t kPieces = 7;
    static constexpr uint32_t kNew = 100; // a piece that is not in it

    KnownCatalogue() {
        for (uint32_t piece = 0; piece < kPieces; ++piece) write(piece);
        write(kNew);
        for (const uint32_t piece : {0U, 1U, 2U, 3U}) run("add", catalogue(), {file(piece)});
        run("remove", catalogue(), {"1"});
        run("compact", catalogue());
        for (const uint32_t piece : {4U, 5U, 6U}) run("add", catalogue(), {file(piece)});
        run("remove", catalogue(), {"2"});
        run("remove", catalogue(), {"6"});
        list_ = linesOf(run("list", catalogue()).out);
        EXPECT_EQ(list_.size(), 4U);
        account_ = addAccount(folder_ / "accounts");
    }

    const std::filesystem::path& folder() const { return folder_.path(); }
    std::filesystem::path catalogue() const { return folder_ / "catalogue"; }
    const std::set<std::string>& list() const { return list_; }
    std::string file(uint32_t piece) const { return folder_.file("piece" + std::to_string(piece) + ".wav"); }
    // Piece 2 lies in what was merged, 4 in what was not.
    static std::string titleOf(uint32_t piece) { return "Title " + std::to_string(piece); }
    // Of its line in the list.
    static std::string columnsOf(uint32_t piece) { return "Artist " + std::to_string(piece) + "\t" + titleOf(piece); }
    const std::string& account() const { return account_; }
    std::filesystem::path accounts() const { return folder_ / "accounts"; }

    // A copy of it, in place of the one before.
    std::filesystem::path copy() const {
        std::filesystem::path place = folder_ / "copy";
        std::filesystem::remove_all(place);
        std::filesystem::copy(catalogue(), place, std::filesystem::copy_options::recursive);
        return place;
    }

    Ended run(
        const std::string& command, const std::filesystem::path& catalogue, const std::vector<std::string>& more = {},
        const std::function<void()>& prepare = [] {}) const {
        std::vector<std::string> words = {serverProgram(), command, "--catalogue", catalogue.string()};
        if (command == "add") words.insert(words.end(), {"--workers", "1"});
        words.insert(words.end(), more.begin(), more.end());
        return runProgram(std::move(words), prepare);
    }

    // The request of half a minute of a piece.
    std::string request(uint32_t piece) const {
        const tarn::demo::Sound sound = tarn::demo::renderPiece(piece, kSeconds, 2 * kRateHz, 1);
        constexpr uint32_t kAskedMs = 31'000;
        const auto query =
            tarn::server::codeQuery({sound.samples.data(), size_t{kAskedMs} * 2 * kRateHz / 1000}, kAskedMs);
        const Handle client = clientOf(account_);
        return postOf(fingerprintPacket(client.get(), 10, query.codes));
    }

  private:
    void write(uint32_t piece) const {
        writeSound(file(piece), tarn::demo::renderPiece(piece, kSeconds, 2 * kRateHz, 1), tarn::demo::FileFormat::kWav);
        tarn::server::Tags tags;
        tags.title = titleOf(piece);
        tags.artist = "Artist " + std::to_string(piece);
        tarn::demo::writeTags(file(piece), tags);
    }

    TemporaryDirectory folder_;
    std::set<std::string> list_;
    std::string account_;
};

inline KnownCatalogue& knownCatalogue() {
    static KnownCatalogue catalogue;
    return catalogue;
}

// The program's service over a catalogue.
class CatalogueService : public ServiceProcess {
  public:
    CatalogueService(const KnownCatalogue& known, const std::filesystem::path& catalogue)
        : ServiceProcess({serverProgram(), "serve", "--listen", "127.0.0.1:0", "--workers", "1", "--catalogue",
                          catalogue.string(), "--accounts", known.accounts().string()}) {}

    bool isUp() const { return !firstLine().empty(); }
};

} // namespace kvxtest
