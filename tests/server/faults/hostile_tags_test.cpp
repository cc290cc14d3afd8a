// SPDX-License-Identifier: Apache-2.0
// Files of a few megabytes whose tags unpack to gigabytes, or to millions of pieces. Each costs itself: it is named,
// and the files beside it go in.
#include "demo/audio_writer.h"
#include "support/files.h"
#include "support/process.h"
#include "support/server/server_program.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <zlib.h>

#include <algorithm>
#include <random>

namespace {

namespace fs = std::filesystem;
using namespace kvxtest;
using testing::HasSubstr;

constexpr size_t kMegabyte = size_t{1} << 20;

std::string bigEndian(size_t number, int bytes = 4) {
    std::string text;
    for (int shift = 8 * (bytes - 1); shift >= 0; shift -= 8) text += static_cast<char>(number >> shift & 0xff);
    return text;
}

std::string littleEndian(size_t number) {
    std::string text = bigEndian(number);
    std::reverse(text.begin(), text.end());
    return text;
}

// Seven bits a byte, as ID3 has it.
std::string syncSafe(size_t number) {
    std::string text;
    for (const int shift : {21, 14, 7, 0}) text += static_cast<char>(number >> shift & 0x7f);
    return text;
}

// Two seconds of it, in frames of silence.
std::string mp3() {
    std::string frame = "\xFF\xFB\x90\x64";
    frame.resize(417);
    std::string frames;
    for (int i = 0; i < 80; ++i) frames += frame;
    return frames;
}

std::string wav(const fs::path& folder) {
    writeSound(folder / "plain", tarn::demo::renderPiece(3, 4, 22050, 1), tarn::demo::FileFormat::kWav);
    return contents(folder / "plain");
}

std::string flac(const fs::path& folder) {
    writeSound(folder / "plain", tarn::demo::renderPiece(3, 4, 22050, 1), tarn::demo::FileFormat::kFlac);
    return contents(folder / "plain");
}

// A text of this many megabytes, all the same letter, deflated.
std::string deflatedText(size_t megabytes) {
    std::string text(megabytes * kMegabyte, 'a');
    text[0] = 3; // UTF-8
    uLongf size = compressBound(text.size());
    std::string out(size, '\0');
    compress2(reinterpret_cast<Bytef*>(out.data()), &size, reinterpret_cast<const Bytef*>(text.data()), text.size(), 9);
    out.resize(size);
    return out;
}

// An ID3v2.4 tag whose title is compressed.
std::string compressedId3(size_t megabytes) {
    const std::string packed = syncSafe(kMegabyte) + deflatedText(megabytes); // what it says of its length is a lie
    const std::string frame = "TIT2" + syncSafe(packed.size()) + std::string("\0\x09", 2) + packed;
    return std::string("ID3\x04\0\0", 6) + syncSafe(frame.size()) + frame;
}

std::string chunk(const std::string& name, std::string bytes) {
    const std::string size = littleEndian(bytes.size());
    if (bytes.size() % 2 == 1) bytes += '\0';
    return name + size + bytes;
}

// A chunk more in a WAV file.
std::string withChunk(std::string file, const std::string& extra) {
    file += extra;
    return file.replace(4, 4, littleEndian(file.size() - 8));
}

template <class Piece>
std::string manyOf(size_t bytes, Piece piece) {
    std::string all;
    all.reserve(bytes + 100);
    for (uint32_t i = 0; all.size() < bytes; ++i) all += piece(i);
    return all;
}

// Four letters that differ.
std::string nameOf(uint32_t number) {
    std::string name;
    for (int i = 0; i < 4; ++i, number /= 26) name += static_cast<char>('A' + number % 26);
    return name;
}

std::string vorbisComments(size_t bytes) {
    size_t count = 0;
    const std::string all = manyOf(bytes, [&](uint32_t i) {
        ++count;
        return littleEndian(6) + nameOf(i) + "=x";
    });
    return littleEndian(0) + littleEndian(count) + all;
}

// A FLAC file with these comments as its second block.
std::string withComments(const std::string& file, const std::string& comments) {
    const size_t firstBlock = 4 + 4 + 34;
    return file.substr(0, firstBlock) + '\x04' + bigEndian(comments.size(), 3) + comments + file.substr(firstBlock);
}

std::string apeTag(size_t bytes) {
    size_t count = 0;
    const std::string items = manyOf(bytes, [&](uint32_t i) {
        ++count;
        return littleEndian(1) + littleEndian(0) + nameOf(i) + std::string("\0x", 2);
    });
    return items + "APETAGEX" + littleEndian(2000) + littleEndian(items.size() + 32) + littleEndian(count) +
           littleEndian(0) + std::string(8, '\0');
}

std::string atom(const std::string& name, const std::string& bytes) {
    return bigEndian(bytes.size() + 8) + name + bytes;
}

// What an MP4 file holds of tags, before audio that only a decoder of MP3 finds.
std::string mp4(size_t bytes) {
    const std::string list = manyOf(bytes, [](uint32_t i) { return atom(nameOf(i), ""); });
    const std::string head = atom("ftyp", "M4A " + bigEndian(0) + "M4A ");
    const std::string meta = bigEndian(0) + atom("hdlr", std::string(25, '\0')) + atom("ilst", list);
    return head + atom("moov", atom("udta", atom("meta", meta))) + atom("mdat", mp3());
}

struct Bomb {
    const char* name; // of the file
    std::function<std::string(const fs::path& folder)> make;
};

constexpr size_t kManyBytes = 15 * kMegabyte;

const Bomb kBombs[] = {
    {"id3.mp3", [](const fs::path&) { return compressedId3(400) + mp3(); }},
    {"id3.wav", [](const fs::path& folder) { return withChunk(wav(folder), chunk("id3 ", compressedId3(400))); }},
    {"riff.wav",
     [](const fs::path& folder) {
         const std::string list = manyOf(kManyBytes, [](uint32_t i) { return chunk(nameOf(i), "xx"); });
         return withChunk(wav(folder), chunk("LIST", "INFO" + list));
     }},
    {"vorbis.flac", [](const fs::path& folder) { return withComments(flac(folder), vorbisComments(kManyBytes)); }},
    {"ape.mp3", [](const fs::path&) { return mp3() + apeTag(kManyBytes); }},
    {"mp4.m4a", [](const fs::path&) { return mp4(kManyBytes); }},
};

} // namespace

TEST(HostileTags, CostTheirFileAndBoundedMemory) {
    const TemporaryDirectory folder;
    fs::create_directory(folder / "music");
    writeSound(folder / "music/good.wav", tarn::demo::renderPiece(1, 4, 22050, 1), tarn::demo::FileFormat::kWav);
    const auto add = [&](const std::string& catalogue) {
        return runProgram(
            {serverProgram(), "add", "--workers", "2", "--catalogue", folder.file(catalogue), folder.file("music")});
    };
    const Ended without = add("without");
    ASSERT_EQ(without.status, 0) << without.err;
    for (const Bomb& bomb : kBombs) {
        SCOPED_TRACE(bomb.name);
        writePrivate(folder / "music" / bomb.name, bomb.make(folder.path()));
        const Ended ended = add(bomb.name);
        std::cout << bomb.name << ": " << fs::file_size(folder / "music" / bomb.name) << " bytes, "
                  << ended.residentKib / 1024 << " MiB resident (without it " << without.residentKib / 1024 << "); "
                  << ended.err;
        EXPECT_EQ(ended.status, 2) << ended.out;
        EXPECT_THAT(ended.err, HasSubstr(std::string("/music/") + bomb.name + ": its tags take "));
        EXPECT_THAT(ended.out, HasSubstr("good.wav: "));
        EXPECT_THAT(ended.out, HasSubstr("1 added, 0 updated, 0 unchanged, 1 skipped"));
        const long mostKib = (isSanitized() ? 1024 : 200) * 1024L;
        EXPECT_LE(ended.residentKib, mostKib);
        fs::remove(folder / "music" / bomb.name);
    }
}

TEST(HostileTags, OfAnUsualSizeAreRead) {
    const TemporaryDirectory folder;
    fs::create_directory(folder / "music");
    // A picture of ten megabytes, and a compressed title of a few letters.
    const std::string packed = syncSafe(6) + [] {
        const std::string title = "\x03Title";
        uLongf size = compressBound(title.size());
        std::string out(size, '\0');
        compress(reinterpret_cast<Bytef*>(out.data()), &size, reinterpret_cast<const Bytef*>(title.data()),
                 title.size());
        out.resize(size);
        return out;
    }();
    const std::string picture = std::string("\0image/jpeg\0\3\0", 14) + std::string(10 * kMegabyte, '\x55');
    const std::string frames = "TIT2" + syncSafe(packed.size()) + std::string("\0\x09", 2) + packed + "APIC" +
                               syncSafe(picture.size()) + std::string("\0\0", 2) + picture;
    writePrivate(folder / "music/a.mp3", std::string("ID3\x04\0\0", 6) + syncSafe(frames.size()) + frames + mp3());
    const Ended ended =
        runProgram({serverProgram(), "add", "--catalogue", folder.file("catalogue"), folder.file("music")});
    EXPECT_EQ(ended.status, 0) << ended.err;
    EXPECT_THAT(ended.out, HasSubstr(", Title\n"));
}
