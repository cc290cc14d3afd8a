// SPDX-License-Identifier: Apache-2.0
#include "commands/duplicates.h"

#include "base/text.h"
#include "commands/file_quality.h"
#include "commands/json_line.h"
#include "commands/reporting.h"
#include "commands/tolerant_reader.h"
#include "matching/duplicates.h"

#include <algorithm>
#include <fmt/format.h>
#include <optional>
#include <ostream>
#include <vector>

namespace tarn::server {

namespace {

struct Member {
    Recording recording;
    FileQuality file;
    std::optional<uint32_t> startMs; // of an excerpt
};

// Each the best first.
struct Group {
    std::vector<Member> copies;
    std::vector<Member> excerpts;
};

void sortByQuality(std::vector<Member>& members) {
    std::sort(members.begin(), members.end(),
              [](const Member& a, const Member& b) { return isBetter(a.file, a.recording, b.file, b.recording); });
}

Group looked(CatalogueReader& reader, MediaProcess& process, const DuplicateGroup& found) {
    Group group;
    const auto add = [&](std::vector<Member>& members, uint32_t id, std::optional<uint32_t> startMs) {
        std::optional<Recording> recording = reader.recording(id);
        if (!recording) return;
        const FileQuality file = qualityOf(*recording, process);
        recording->codes = {};
        members.push_back({std::move(*recording), file, startMs});
    };
    for (const uint32_t id : found.copies) add(group.copies, id, std::nullopt);
    for (const Excerpt& excerpt : found.excerpts) add(group.excerpts, excerpt.id, excerpt.startMs);
    sortByQuality(group.copies);
    sortByQuality(group.excerpts);
    return group;
}

bool canBeRead(const Member& member) {
    return member.file.kind == FileQuality::Kind::kLossless || member.file.kind == FileQuality::Kind::kLossy;
}

void print(const Member& member, const char* what, std::ostream& out) {
    const std::string place = member.startMs ? durationText(*member.startMs / 1000) : "";
    out << fmt::format("{}\t{}\t{}\t{}\t{}\t{}\t{}\n", what, member.recording.id,
                       durationText(member.recording.durationMs / 1000), place, nameOf(member.file.kind),
                       member.file.kilobits, inOneLine(member.recording.path));
}

void print(const Group& group, std::ostream& out) {
    const Member* const first = group.copies.empty() ? nullptr : &group.copies.front();
    for (const Member& member : group.copies)
        print(member, &member == first && canBeRead(member) ? "best" : "copy", out);
    for (const Member& member : group.excerpts) print(member, "excerpt", out);
    out << '\n';
}

Json jsonOf(const Member& member) {
    Json json = membersOf(member.recording);
    if (member.startMs) json["start_ms"] = *member.startMs;
    json["file"] = nameOf(member.file.kind);
    if (member.file.kilobits != 0) json["kbit_per_s"] = member.file.kilobits;
    return json;
}

Json jsonOf(const std::vector<Member>& members) {
    Json json = Json::array();
    for (const Member& member : members) json.push_back(jsonOf(member));
    return json;
}

} // namespace

int runDuplicates(const std::string& catalogue, bool json, std::ostream& out, std::ostream& err) {
    return reporting(err, [&] {
        MediaProcess process; // before the reader, whose files it is not to hold
        TolerantReader reader(catalogue, err);
        const std::vector<DuplicateGroup> groups = findDuplicates(*reader);
        Json list = Json::array();
        for (const DuplicateGroup& found : groups) {
            reader->refresh(); // so that nothing piles up
            const Group group = looked(*reader, process, found);
            if (json) {
                list.push_back({{"copies", jsonOf(group.copies)}, {"excerpts", jsonOf(group.excerpts)}});
            } else {
                print(group, out);
            }
        }
        const uint64_t recordings = reader->recordingCount();
        if (json) {
            out << lineOf({{"recordings", recordings}, {"groups", std::move(list)}}) << '\n';
        } else {
            out << counted(groups.size(), "group") << " of duplicates among " << counted(recordings, "recording")
                << '\n';
        }
        return reader.foundDamage() ? 1 : 0;
    });
}

} // namespace tarn::server
