// SPDX-License-Identifier: Apache-2.0
#include "commands/remove.h"

#include "base/text.h"
#include "catalogue/catalogue.h"
#include "commands/named_recordings.h"
#include "commands/reporting.h"

#include <fmt/format.h>
#include <ostream>
#include <vector>

namespace tarn::server {

namespace {

constexpr size_t kBatch = 500; // recordings that are committed together

// Removes those that are there, and prints each after its commit. Returns their number.
size_t removeAll(CatalogueWriter& writer, CatalogueReader& reader, const std::vector<uint32_t>& ids,
                 std::ostream& out) {
    size_t removed = 0;
    std::vector<std::string> lines;
    const auto commit = [&] {
        if (lines.empty()) return;
        writer.commit();
        for (const std::string& line : lines) out << "removed " << line << '\n';
        removed += lines.size();
        lines.clear();
    };
    for (const uint32_t id : ids) {
        const std::optional<Recording> recording = reader.recording(id);
        if (!writer.remove(id)) continue;
        lines.push_back(recording ? fmt::format("{} {}: {}", id, recording->trackId, recording->tags.title)
                                  : fmt::format("{}, which was damaged", id));
        if (lines.size() >= kBatch) commit();
    }
    commit();
    return removed;
}

} // namespace

int runRemove(const std::string& catalogue, const std::string& name, std::ostream& out, std::ostream& err) {
    return reporting(err, [&] {
        expectCatalogue(catalogue);
        CatalogueWriter writer(catalogue);
        CatalogueReader reader(catalogue, [](uint32_t, const std::string&) {}); // a damaged one can go as well
        if (removeAll(writer, reader, idsNamed(reader, name), out) > 0) return 0;
        const size_t removed = removeAll(writer, reader, idsAtPath(reader, name), out);
        if (removed == 0) throw noRecording(name);
        out << counted(removed, "recording") << " removed\n";
        return 0;
    });
}

} // namespace tarn::server
