// SPDX-License-Identifier: Apache-2.0
// Requests and answers: signing, packets, records. Results are checked before they are timed.
#include "fingerprint/engine/feature_map.h"
#include "support/answers.h"
#include "support/handles.h"
#include "support/packet_assembler.h"

#include <benchmark/benchmark.h>
#include <cstring>
#include <string>
#include <string_view>

namespace {

using benchmark::State;
using kvxtest::Bytes;

constexpr int32_t kEnglish = 0x656e;

// A text of this length in which no two neighbouring bytes are equal.
std::string textOf(size_t length, size_t number) {
    std::string text(length, ' ');
    for (size_t i = 0; i < length; ++i) text[i] = static_cast<char>('a' + (i * 7 + number) % 26);
    return text;
}

// A finished session with code strings as long as those of 30 s of music.
kvxtest::Handle finishedSession(const kvxtest::HandleOptions& options) {
    kvxtest::Handle handle = kvxtest::makeHandle(options);
    KVXNewFingerprint3(handle.get(), 1, 22050, 60000);
    for (size_t k = 0; k < kvx::kMapCount; ++k) {
        for (char* text : {handle->featureMaps[k]->coder1.text, handle->featureMaps[k]->coder2.text})
            std::memcpy(text, textOf(230, k).c_str(), 231);
        handle->mapFull[k] = 1;
    }
    return handle;
}

int32_t build(KVXHandle* handle, uint8_t** packet, uint32_t* length) {
    static const KVXFingerprintDescriptor descriptor{};
    return KVXGenerateFingerprintRequest3(handle, nullptr, 0, &descriptor, 10, kEnglish, packet, length);
}

// True if the packet ends with the signature that the tests' assembler computes for the rest.
bool isSigned(const Bytes& packet, const kvxtest::HandleOptions& options) {
    for (const size_t length : {4U, 8U, 16U}) {
        kvxtest::PacketAssembler again;
        again.raw(Bytes(packet.begin(), packet.end() - static_cast<std::ptrdiff_t>(length))).signature(options);
        if (again.bytes == packet) return true;
    }
    return false;
}

// Building and signing a request; arguments: methods of encryption and checksum.
void fingerprintRequest(State& state) {
    const kvxtest::HandleOptions options{.encryptionMethod = static_cast<int>(state.range(0)),
                                         .checksumMethod = static_cast<int>(state.range(1)),
                                         .secret = {1, 2, 3}};
    const kvxtest::Handle handle = finishedSession(options);
    uint8_t* packet = nullptr;
    uint32_t length = 0;
    if (build(handle.get(), &packet, &length) != 0) return state.SkipWithError("no packet");
    const Bytes bytes(packet, packet + length);
    if (!isSigned(bytes, options)) return state.SkipWithError("another signature");
    KVXFreeFingerprintRequest3(&packet);
    while (state.KeepRunning()) {
        build(handle.get(), &packet, &length);
        KVXFreeFingerprintRequest3(&packet);
    }
    state.SetBytesProcessed(state.iterations() * length);
}
BENCHMARK(fingerprintRequest)->ArgsProduct({{1, 2, 3}, {2, 3}});

Bytes manyTracks(size_t count) {
    Bytes body;
    for (size_t i = 0; i < count; ++i) {
        const Bytes record = kvxtest::record(
            'T', kvxtest::trackBlob("id" + std::to_string(i), textOf(20, i), {textOf(12, i), textOf(9, i + 1)}));
        body.insert(body.end(), record.begin(), record.end());
    }
    return body;
}

// Parses the answer, reads each record and releases it; false if the first or last is not what was written.
bool readAll(KVXHandle* handle, const Bytes& body, size_t count) {
    int32_t records = 0;
    if (KVXParseServerResponse(handle, body.data(), static_cast<int32_t>(body.size()), &records) != 0) return false;
    if (records != static_cast<int32_t>(count)) return false;
    for (int32_t i = 1; i <= records; ++i) {
        Track* track = nullptr;
        if (KVXGetTrack(handle, i, &track) != 0) return false;
        const std::string expected = "id" + std::to_string(i - 1);
        const KVXValueLength* id = track->trackId;
        const bool same = id != nullptr && std::string_view(id->data, id->length) == expected;
        KVXFreeTrack(&track);
        if (!same) return false;
    }
    return true;
}

void answerOfTracks(State& state) {
    const auto count = static_cast<size_t>(state.range(0));
    const Bytes body = manyTracks(count);
    const kvxtest::Handle handle = kvxtest::makeHandle();
    while (state.KeepRunning())
        if (!readAll(handle.get(), body, count)) return state.SkipWithError("a record is not what was written");
    state.SetItemsProcessed(state.iterations() * state.range(0));
    state.SetComplexityN(state.range(0));
}
BENCHMARK(answerOfTracks)->RangeMultiplier(2)->Range(3750, 30000)->Complexity()->Unit(benchmark::kMillisecond);

// An album whose texts hold nearly all of its bytes; argument: bytes of each of its texts.
void albumOfLongTexts(State& state) {
    const auto length = static_cast<size_t>(state.range(0));
    const std::string title = textOf(length, 3);
    Bytes bytes = kvxtest::albumBlob("a1", title, textOf(length, 5), 87);
    const KVXBlob blob{bytes.data(), 0, static_cast<uint32_t>(bytes.size())};
    Album* album = nullptr;
    if (KVXLoadNewAlbumFromBlob(&blob, &album) != 0 || album->title == nullptr ||
        std::string(album->title->data, album->title->length) != title)
        return state.SkipWithError("the album is not what was written");
    KVXFreeAlbum(&album);
    while (state.KeepRunning()) {
        KVXLoadNewAlbumFromBlob(&blob, &album);
        KVXFreeAlbum(&album);
    }
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(bytes.size()));
}
BENCHMARK(albumOfLongTexts)->Arg(1000)->Arg(10000)->Arg(30000);

} // namespace
