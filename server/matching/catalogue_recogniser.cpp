// SPDX-License-Identifier: Apache-2.0
#include "matching/catalogue_recogniser.h"

#include "catalogue/store.h"
#include "matching/matcher.h"

#include <algorithm>
#include <exception>

namespace tarn::server {

namespace {

constexpr size_t kMaxCompanions = 20;

Match matchOf(const Recording& recording) {
    Match match;
    match.recordingId = recording.id;
    match.durationMs = recording.durationMs;
    match.path = recording.path;
    match.trackId = recording.trackId;
    match.albumId = recording.albumId;
    match.tags = recording.tags;
    match.trackBlob = recording.trackBlob;
    match.albumBlob = recording.albumBlob;
    return match;
}

std::vector<std::string> companionsOf(const std::vector<Candidate>& candidates, uint32_t id) {
    std::vector<std::string> trackIds;
    for (const Candidate& candidate : candidates) {
        if (trackIds.size() == kMaxCompanions) break;
        if (candidate.sameAs == id) trackIds.push_back(candidate.recording.trackId);
    }
    return trackIds;
}

} // namespace

CatalogueRecogniser::CatalogueRecogniser(std::string location, Log log)
    : location_(std::move(location)), shown_(shownLocation(location_)), log_(std::move(log)) {}

CatalogueUnavailable CatalogueRecogniser::notAll() const {
    return CatalogueUnavailable(shown_ +
                                ": a part of the catalogue does not answer or was lost; tarn-server check says which");
}

template <class Work>
auto CatalogueRecogniser::withReader(Work work) {
    std::unique_ptr<CatalogueReader> reader;
    {
        const std::lock_guard lock(mutex_);
        if (!idle_.empty()) {
            reader = std::move(idle_.back());
            idle_.pop_back();
        }
    }
    try {
        if (reader == nullptr) {
            reader = std::make_unique<CatalogueReader>(
                location_, [this](uint32_t id, const std::string& problem) { passOver(id, problem); });
        } else {
            reader->refresh();
        }
        auto result = work(*reader);
        giveBack(std::move(reader));
        return result;
    } catch (const CatalogueUnavailable& error) {
        // It knows what does not answer, and waits for that no longer: a new one would.
        if (reader) giveBack(std::move(reader));
        throw Unavailable(error.what());
    } catch (const CatalogueError& error) {
        throw Unavailable(error.what()); // the reader goes, and the next request opens the catalogue anew
    }
}

void CatalogueRecogniser::giveBack(std::unique_ptr<CatalogueReader> reader) {
    reader->rest();
    const std::lock_guard lock(mutex_);
    idle_.push_back(std::move(reader));
}

void CatalogueRecogniser::passOver(uint32_t id, const std::string& problem) {
    {
        const std::lock_guard lock(mutex_);
        if (!passedOver_.insert(id).second) return;
    }
    if (log_) log_(shown_ + ": passed over: " + problem);
}

Recognition CatalogueRecogniser::recognise(const FingerprintQuery& query, size_t maxMatches) {
    return withReader([&](CatalogueReader& reader) {
        Examination examination = examine(reader, query);
        Recognition recognition;
        recognition.candidatesJudged = static_cast<uint32_t>(examination.candidates.size());
        std::vector<Match>& matches = recognition.matches;
        for (const Candidate& candidate : examination.candidates) {
            if (!candidate.accepted || matches.size() == maxMatches) break;
            Match match = matchOf(candidate.recording);
            match.confidence = confidenceOf(candidate.chance);
            match.offsetMs = offsetMs(candidate.alignment);
            match.companions = companionsOf(examination.candidates, candidate.id);
            matches.push_back(std::move(match));
        }
        if (matches.empty() && !examination.complete) throw notAll();
        return recognition;
    });
}

std::vector<Match> CatalogueRecogniser::lookUp(const std::string& id, size_t maxMatches) {
    return withReader([&](CatalogueReader& reader) {
        std::vector<uint32_t> ids = reader.byTrackId(id);
        const std::vector<uint32_t> ofAlbum = reader.byAlbumId(id);
        ids.insert(ids.end(), ofAlbum.begin(), ofAlbum.end());
        std::vector<Match> matches;
        for (const uint32_t recordingId : ids) {
            if (matches.size() == maxMatches) break;
            const std::optional<Recording> recording = reader.recording(recordingId);
            if (!recording) continue;
            Match match = matchOf(*recording);
            match.confidence = 100;
            matches.push_back(std::move(match));
        }
        if (matches.empty() && !reader.complete()) throw notAll();
        return matches;
    });
}

std::optional<uint32_t> CatalogueRecogniser::browse(uint32_t after, uint32_t mostIds,
                                                    const std::function<bool(const Match&)>& show) {
    return withReader([&](CatalogueReader& reader) {
        return reader.forSome(after, mostIds, [&](const Recording& recording) {
            Match match = matchOf(recording);
            match.confidence = 100;
            return show(match);
        });
    });
}

void CatalogueRecogniser::warmUp(const std::stop_token& stop) {
    try {
        withReader([&](CatalogueReader& reader) {
            reader.warmUp(stop);
            return true;
        });
    } catch (const std::exception&) {
        return; // the log of the service says why, at its next look
    }
}

uint64_t CatalogueRecogniser::recordingCount() {
    return withReader([](CatalogueReader& reader) { return reader.recordingCount(); });
}

} // namespace tarn::server
