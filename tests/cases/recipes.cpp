// SPDX-License-Identifier: Apache-2.0
#include "cases/recipes.h"

#include "support/wav_maker.h"

#ifdef TARN_SERVER_TOOL
#include "accounts/account_file.h"
#include "demo/audio_writer.h"
#include "support/handles.h"
#include "support/server/sample_recording.h"
#include "support/server/small_collection.h"
#endif

namespace kvxtest {

namespace {

void makeSound(const std::filesystem::path& path, Settings& settings) {
    WavOptions options;
    options.channels = static_cast<int>(settings.number("channels", options.channels));
    options.rateHz = static_cast<int>(settings.number("rate", options.rateHz));
    options.lengthMs = static_cast<int>(settings.number("ms", options.lengthMs));
    const WavFields usual = wavFields(options);
    WavFields fields = usual;
    fields.bitsPerSample = static_cast<uint16_t>(settings.number("bits", usual.bitsPerSample));
    fields.riffSize = static_cast<uint32_t>(settings.number("riff", usual.riffSize));
    Bytes bytes = wavFile(options);
    const Bytes header = wavHeader(fields);
    std::copy(header.begin(), header.end(), bytes.begin());
    writeFile(path.string(), bytes);
}

#ifdef TARN_SERVER_TOOL
void makeMusic(const std::filesystem::path& path, Settings& settings) {
    writeSmallCollection(path, static_cast<uint32_t>(settings.number("pieces", 3)));
}

void makePiece(const std::filesystem::path& path, Settings& settings) {
    const auto number = static_cast<uint64_t>(settings.number("number", 1));
    const auto seconds = static_cast<double>(settings.number("seconds", 4));
    const auto from = static_cast<double>(settings.number("from", 0));
    std::filesystem::create_directories(path.parent_path());
    tarn::demo::Sound sound = tarn::demo::renderPiece(number, from + seconds, 22050, 1);
    sound.samples.erase(sound.samples.begin(), sound.samples.begin() + static_cast<std::ptrdiff_t>(from * 22050));
    tarn::demo::FileFormat format = tarn::demo::FileFormat::kWav;
    if (path.extension() == ".flac") format = tarn::demo::FileFormat::kFlac;
    if (path.extension() == ".ogg") format = tarn::demo::FileFormat::kOgg;
    writeSound(path, sound, format);
}

void makeCatalogue(const std::filesystem::path& path, Settings& settings) {
    tarn::server::CatalogueWriter writer(path.string());
    const auto count = static_cast<uint32_t>(settings.number("recordings", 3));
    for (uint32_t number = 1; number <= count; ++number) writer.put(sampleRecording(number));
    writer.commit();
}

void makeAccounts(const std::filesystem::path& path, Settings& /*settings*/) {
    tarn::server::AccountList list;
    list.accounts.push_back({accessCode(3, 3), "2026-01-02T03:04:05Z", "the account of the cases"});
    list.nextId = list.accounts[0].id() + 1;
    tarn::server::saveAccounts(path, list);
}
#endif

struct Recipe {
    const char* name;
    void (*make)(const std::filesystem::path& path, Settings& settings);
};

constexpr Recipe kRecipes[] = {
    {"sound", makeSound},
#ifdef TARN_SERVER_TOOL
    {"music", makeMusic}, {"piece", makePiece}, {"catalogue", makeCatalogue}, {"accounts", makeAccounts},
#endif
};

} // namespace

void make(const std::filesystem::path& path, const Words& words) {
    for (const Recipe& recipe : kRecipes) {
        if (words.empty() || words[0] != recipe.name) continue;
        Settings settings(words, 1);
        recipe.make(path, settings);
        return settings.expectNoOther();
    }
    throw CaseError("there is no such recipe");
}

} // namespace kvxtest
