// SPDX-License-Identifier: Apache-2.0
#include "recognise/output/tracklist_writer.h"

#include "recognise/output/tracklist_cue.h"
#include "recognise/output/tracklist_lines.h"
#include "recognise/output/tracklist_texts.h"

#include <array>
#include <utility>

namespace tarn::recognise {

namespace {

constexpr std::array<std::pair<std::string_view, TracklistFormat>, 5> kFormats = {{
    {"table", TracklistFormat::kTable},
    {"ndjson", TracklistFormat::kJson},
    {"csv", TracklistFormat::kCsv},
    {"cue", TracklistFormat::kCue},
    {"labels", TracklistFormat::kLabels},
}};

std::string headerOf(TracklistFormat format) {
    if (format == TracklistFormat::kCsv) return csvHeader();
    return format == TracklistFormat::kTable ? tableHeader() : std::string();
}

std::string lineOf(TracklistFormat format, const Entry& entry) {
    if (format == TracklistFormat::kJson) return jsonLine(entry);
    if (format == TracklistFormat::kCsv) return csvLine(entry);
    return format == TracklistFormat::kLabels ? labelLine(entry) : tableLine(entry);
}

class LineWriter : public TracklistWriter {
  public:
    LineWriter(TracklistFormat format, std::ostream& out) : format_(format), out_(out) {}
    void begin() override { out_ << headerOf(format_); }
    void add(const Entry& entry) override { out_ << lineOf(format_, entry); }

  private:
    TracklistFormat format_;
    std::ostream& out_;
};

// Each line is flushed: its reader waits for it.
class EventLineWriter : public EventWriter {
  public:
    EventLineWriter(TracklistFormat format, std::ostream& out) : format_(format), out_(out) {}

    void begin() override {
        if (format_ == TracklistFormat::kCsv) out_ << csvHeader() << std::flush;
    }

    void add(const Event& event) override {
        if (format_ == TracklistFormat::kJson) {
            out_ << jsonLine(event) << std::flush;
        } else if (format_ == TracklistFormat::kTable) {
            out_ << tableLine(event) << std::flush;
        } else if (event.kind == EventKind::kEnd && !isWithdrawn(event)) {
            out_ << lineOf(format_, event.entry) << std::flush;
        }
    }

  private:
    TracklistFormat format_;
    std::ostream& out_;
};

} // namespace

std::vector<std::string> tracklistFormatNames() {
    std::vector<std::string> names;
    names.reserve(kFormats.size());
    for (const auto& [name, format] : kFormats) names.emplace_back(name);
    return names;
}

std::optional<TracklistFormat> tracklistFormat(std::string_view name) {
    for (const auto& [known, format] : kFormats) {
        if (known == name) return format;
    }
    return std::nullopt;
}

std::unique_ptr<TracklistWriter> makeTracklistWriter(TracklistFormat format, const std::string& file,
                                                     std::ostream& out) {
    if (format == TracklistFormat::kCue) return std::make_unique<CueWriter>(file, out);
    return std::make_unique<LineWriter>(format, out);
}

std::unique_ptr<EventWriter> makeEventWriter(TracklistFormat format, std::ostream& out) {
    if (format == TracklistFormat::kCue) return nullptr;
    return std::make_unique<EventLineWriter>(format, out);
}

} // namespace tarn::recognise
