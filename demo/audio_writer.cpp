// SPDX-License-Identifier: Apache-2.0
#include "demo/audio_writer.h"

#include <sndfile.h>
#include <taglib/fileref.h>
#include <taglib/tag.h>
#include <taglib/tpropertymap.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <memory>
#include <stdexcept>
#include <string>

namespace fs = std::filesystem;

namespace tarn::demo {

namespace {

struct Close {
    void operator()(SNDFILE* file) const { sf_close(file); }
};

int formatCode(FileFormat format) {
    switch (format) {
    case FileFormat::kFlac:
        return SF_FORMAT_FLAC | SF_FORMAT_PCM_16;
    case FileFormat::kOgg:
        return SF_FORMAT_OGG | SF_FORMAT_VORBIS;
    case FileFormat::kWav:
        break;
    }
    return SF_FORMAT_WAV | SF_FORMAT_PCM_16;
}

constexpr std::array kFormats = {FileFormat::kFlac, FileFormat::kOgg, FileFormat::kWav};
constexpr std::array kExtensions = {".flac", ".ogg", ".wav"};

TagLib::String text(const std::string& utf8) { return {utf8, TagLib::String::UTF8}; }

} // namespace

void writeSound(const fs::path& path, const Sound& sound, FileFormat format, double quality) {
    SF_INFO info{};
    info.samplerate = sound.rateHz;
    info.channels = sound.channels;
    info.format = formatCode(format);
    const std::unique_ptr<SNDFILE, Close> file(sf_open(path.c_str(), SFM_WRITE, &info));
    if (!file) throw std::runtime_error(path.string() + ": " + sf_strerror(nullptr));
    if (format == FileFormat::kOgg) sf_command(file.get(), SFC_SET_VBR_ENCODING_QUALITY, &quality, sizeof quality);
    const auto frames = sound.samples.size() / static_cast<size_t>(sound.channels);
    constexpr size_t kPieceFrames = 4096; // the Vorbis encoder copies a piece to its stack
    for (size_t at = 0; at < frames; at += kPieceFrames) {
        const auto count = static_cast<sf_count_t>(std::min(kPieceFrames, frames - at));
        const int16_t* piece = sound.samples.data() + at * static_cast<size_t>(sound.channels);
        if (sf_writef_short(file.get(), piece, count) != count) {
            throw std::runtime_error(path.string() + ": " + sf_strerror(file.get()));
        }
    }
}

void writeTags(const fs::path& path, const server::Tags& tags) {
    TagLib::FileRef file(path.c_str(), false);
    if (file.isNull()) throw std::runtime_error(path.string() + ": cannot be opened for writing tags");
    TagLib::PropertyMap properties = file.file()->properties();
    const auto put = [&](const char* name, const std::string& value) {
        if (!value.empty()) properties.replace(name, TagLib::StringList(text(value)));
    };
    put("TITLE", tags.title);
    put("ARTIST", tags.artist);
    put("ALBUM", tags.album);
    put("ALBUMARTIST", tags.albumArtist);
    put("TRACKNUMBER", tags.number == 0 ? "" : std::to_string(tags.number));
    put("DATE", tags.year == 0 ? "" : std::to_string(tags.year));
    file.file()->setProperties(properties);
    if (!file.save()) throw std::runtime_error(path.string() + ": the tags cannot be saved");
}

std::vector<fs::path> writeCollection(const fs::path& folder, uint64_t seed, uint32_t count, double seconds, int rateHz,
                                      int channels) {
    std::vector<fs::path> paths;
    for (uint32_t index = 0; index < count; ++index) {
        const server::Tags tags = tagsOfPiece(seed, index);
        const size_t format = index % kFormats.size();
        const fs::path album = folder / tags.artist / tags.album;
        fs::create_directories(album);
        char number[16];
        std::snprintf(number, sizeof number, "%02u ", tags.number);
        const fs::path path = album / (number + tags.title + kExtensions[format]);
        writeSound(path, renderPiece(seed + index, seconds, rateHz, channels), kFormats[format]);
        writeTags(path, tags);
        paths.push_back(path);
    }
    return paths;
}

} // namespace tarn::demo
