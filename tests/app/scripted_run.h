// SPDX-License-Identifier: Apache-2.0
// Runs of the tool with scripted answers, and what they print and log.
#pragma once

#include "run.h"
#include "support/answers.h"
#include "support/clients.h"
#include "support/counting_hooks.h"
#include "support/temporary_directory.h"
#include "support/wav_maker.h"

#include <gtest/gtest.h>

namespace kvxtest::scripted_run {

using Entries = std::vector<std::string>;

inline int run(ScriptedServices& scripted, const std::vector<std::string>& arguments) {
    std::vector<const char*> pointers = {"tarn"};
    for (const auto& argument : arguments) pointers.push_back(argument.c_str());
    return tarn::runTarn(pointers, scripted.services);
}

class Run : public ::testing::Test {
  protected:
    static void SetUpTestSuite() {
        directory_ = new TemporaryDirectory;
        writeFile(directory_->file("sound.wav"), wavFile({}));
    }
    static void TearDownTestSuite() {
        delete directory_;
        directory_ = nullptr;
    }

    int recognise(const std::vector<LoaderAnswer>& answers) {
        scripted.loader.answers = answers;
        return run(scripted, {goodKey(scripted.clock), "recog.example", directory_->file("sound.wav")});
    }
    static LoaderAnswer answer(const Bytes& body) { return {body, 200, {}}; }

    static inline TemporaryDirectory* directory_ = nullptr;
    ScriptedServices scripted;
};

inline const Bytes kTrack = record('T', trackBlob("t1", "Title", {"Artist"}));
inline const Bytes kAlbum = record('A', albumBlob("a1", "Album", "Artist", 87));
inline const tarn::Error kLost = {"NSURLErrorDomain", -1005, "The network connection was lost."};
inline const char* const kReportWithoutAlbum = "<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\n<match>\n"
                                               "<name>Artist</name>\n<title>Title</title>\n</match>\n";

inline const Entries kTrackLog = {"Received 1 response(s)\n", "Response 1: T_ID: t1\n", "Response 1: Title: Title\n",
                                  "Response 1: Artist: Artist\n"};

inline Entries operator+(Entries a, const Entries& b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

} // namespace kvxtest::scripted_run
