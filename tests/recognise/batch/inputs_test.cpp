// SPDX-License-Identifier: Apache-2.0
#include "recognise/batch/inputs.h"

#include "support/files.h"

#include <gmock/gmock.h>

namespace {

using namespace tarn::recognise;

void put(const std::filesystem::path& file) { std::ofstream(file) << "x"; }

std::vector<std::string> namesOf(const std::vector<InputFile>& inputs) {
    std::vector<std::string> names;
    names.reserve(inputs.size());
    for (const InputFile& input : inputs) names.push_back(input.name + (input.problem.empty() ? "" : " !"));
    return names;
}

TEST(Inputs, ComeInTheOrderInWhichTheyWereNamed) {
    const kvxtest::TemporaryDirectory folder;
    std::filesystem::create_directories(folder / "b/inner");
    put(folder / "b/2.wav");
    put(folder / "b/inner/3.flac");
    put(folder / "b/notes.txt");
    put(folder / "a.txt");
    const std::string file = folder.file("a.txt");
    const std::string missing = folder.file("missing");
    const std::string music = folder.file("b");
    EXPECT_THAT(namesOf(inputsOf({missing, music, file, music + "/", file})),
                testing::ElementsAre(missing + " !", music + "/2.wav", music + "/inner/3.flac", file, music + "/2.wav",
                                     music + "/inner/3.flac", file));
}

TEST(Inputs, AreNamedAsTheUserNamesThem) {
    const kvxtest::TemporaryDirectory folder;
    std::filesystem::create_directories(folder / "real");
    put(folder / "real/1.wav");
    std::filesystem::create_directory_symlink(folder / "real", folder / "link");
    const std::vector<InputFile> inputs = inputsOf({folder.file("link"), folder.file("link/1.wav")});
    EXPECT_THAT(namesOf(inputs), testing::ElementsAre(folder.file("link/1.wav"), folder.file("link/1.wav")));
    EXPECT_EQ(inputs[0].path, std::filesystem::canonical(folder / "real/1.wav"));
    EXPECT_EQ(inputs[0].bytes, 1U);
}

TEST(Inputs, TakeNamesOfAnyBytes) {
    const kvxtest::TemporaryDirectory folder;
    for (const char* name : {"two words.wav", "two\nlines.wav", "caf\xe9.wav", "-dash.wav", "\x1b[31m.wav"}) {
        put(folder / name);
        EXPECT_THAT(namesOf(inputsOf({folder.file(name)})), testing::ElementsAre(folder.file(name)));
    }
    EXPECT_EQ(inputsOf({folder.path()}).size(), 5U);
}

} // namespace
