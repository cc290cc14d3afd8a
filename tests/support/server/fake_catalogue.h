// SPDX-License-Identifier: Apache-2.0
// Records for answers, and a recogniser that gives what a test put into it.
#pragma once

#include "model/recogniser.h"
#include "protocol/record_filter.h"

#include <algorithm>
#include <atomic>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace kvxtest {

inline std::string number(unsigned value) {
    return {static_cast<char>(value & 0xff), static_cast<char>((value >> 8) & 0xff)};
}

// A list of one artist.
inline std::string artists(const std::string& name) {
    return tarn::server::blobOf({tarn::server::blobOf({"1", name, "2", "3"})});
}

// Every field that a track has on the wire, each with a content of its own.
inline std::vector<std::string> trackFields(const std::string& id, const std::string& title) {
    std::vector<std::string> fields(23);
    for (size_t i = 0; i < fields.size(); ++i) fields[i] = "track field " + std::to_string(i);
    fields[0] = id;
    fields[1] = title;
    for (const size_t i : {3U, 4U, 15U, 16U, 19U, 22U}) fields[i] = number(1000 + static_cast<unsigned>(i));
    fields[5] = artists("composer");
    fields[6] = artists("artist of " + title);
    fields[12] = tarn::server::blobOf({tarn::server::blobOf({"a", "b", number(1), "d"})});
    fields[13] = tarn::server::blobOf({"data", "", "", "", ""});
    fields[17] = "\x01\x02\x03\x04";
    fields[18] = {}; // a library that reads it never returns its memory
    fields[21] = tarn::server::blobOf({"one", "two"});
    return fields;
}

inline std::vector<std::string> albumFields(const std::string& id, const std::string& title) {
    std::vector<std::string> fields(33);
    for (size_t i = 0; i < fields.size(); ++i) fields[i] = "album field " + std::to_string(i);
    fields[0] = id;
    fields[1] = title;
    for (const size_t i : {6U, 7U, 11U, 23U, 28U, 29U, 30U}) fields[i] = number(2000 + static_cast<unsigned>(i));
    const std::string pair = tarn::server::blobOf({"id", "value"});
    const std::string pairs = tarn::server::blobOf({pair, pair});
    fields[10] = pair;
    fields[13] = tarn::server::blobOf({tarn::server::blobOf({"1", "2", "3", "4"})});
    fields[14] = tarn::server::blobOf({tarn::server::blobOf({"1", "2", "3", "4", "5", "6"})});
    const std::string track = tarn::server::blobOf(trackFields("T-on-medium", "title on medium"));
    fields[15] =
        tarn::server::blobOf({tarn::server::blobOf({tarn::server::blobOf({track, track}), number(1), number(2)})});
    fields[16] = fields[17] = fields[24] = pairs;
    fields[18] = tarn::server::blobOf(
        {tarn::server::blobOf({"0", "1", "2", "3", "4", "5", "6", "7", "8", number(9), number(10), number(11)})});
    fields[21] = tarn::server::blobOf({"one"});
    fields[25] = tarn::server::blobOf({"data"});
    return fields;
}

inline tarn::server::Match match(const std::string& name, int confidence) {
    tarn::server::Match made;
    made.recordingId = 12;
    made.confidence = confidence;
    made.offsetMs = 61000;
    made.durationMs = 183000;
    made.trackId = "T-" + name;
    made.albumId = "A-" + name;
    made.tags.title = "title " + name;
    made.tags.artist = "artist of title " + name;
    made.tags.album = "album " + name;
    made.trackBlob = tarn::server::blobOf(trackFields("T-" + name, "title " + name));
    made.albumBlob = tarn::server::blobOf(albumFields("A-" + name, "album " + name));
    return made;
}

class FakeCatalogue : public tarn::server::Recogniser {
  public:
    explicit FakeCatalogue(const std::function<void(FakeCatalogue&)>& prepare = {}) {
        if (prepare) prepare(*this);
    }

    std::vector<tarn::server::Match> matches;
    std::map<std::string, std::vector<tarn::server::Match>> byId;
    std::map<uint32_t, tarn::server::Match> recordings; // by number, for browse()
    std::function<void()> beforeAnswer = [] {};
    std::function<void()> beforeCount = [] {};
    std::atomic<size_t> asked = 0;
    std::atomic<size_t> read = 0; // recordings that look-ups gave

    tarn::server::Recognition recognise(const tarn::server::FingerprintQuery& query, size_t most) override {
        beforeAnswer();
        const std::lock_guard lock(mutex_);
        ++asked;
        lastQuery_ = query;
        lastMost_ = most;
        return {matches, 5};
    }
    std::vector<tarn::server::Match> lookUp(const std::string& id, size_t most) override {
        beforeAnswer();
        const std::lock_guard lock(mutex_);
        ++asked;
        lastMost_ = most;
        const auto found = byId.find(id);
        if (found == byId.end()) return {};
        const std::vector<tarn::server::Match>& all = found->second;
        std::vector<tarn::server::Match> given(all.begin(),
                                               all.begin() + static_cast<ptrdiff_t>(std::min(most, all.size())));
        read += given.size();
        return given;
    }
    std::optional<uint32_t> browse(uint32_t after, uint32_t mostIds,
                                   const std::function<bool(const tarn::server::Match&)>& show) override {
        beforeAnswer();
        const std::lock_guard lock(mutex_);
        ++asked;
        const uint32_t highest = recordings.empty() ? 0 : recordings.rbegin()->first;
        uint32_t id = after;
        for (uint32_t looked = 0; id < highest && looked < mostIds; ++looked) {
            ++id;
            const auto found = recordings.find(id);
            if (found != recordings.end() && !show(found->second)) break;
        }
        return id < highest ? std::optional(id) : std::nullopt;
    }
    uint64_t recordingCount() override {
        beforeCount();
        return 42;
    }

    tarn::server::FingerprintQuery lastQuery() const {
        const std::lock_guard lock(mutex_);
        return lastQuery_;
    }
    size_t lastMost() const {
        const std::lock_guard lock(mutex_);
        return lastMost_;
    }

  private:
    mutable std::mutex mutex_;
    tarn::server::FingerprintQuery lastQuery_;
    size_t lastMost_ = 0;
};

} // namespace kvxtest
