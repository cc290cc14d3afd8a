// SPDX-License-Identifier: Apache-2.0
// Track lists as text: one entry after another, each written when it has ended.
#pragma once

#include "recognise/tracklist/entry.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

namespace tarn::recognise {

enum class TracklistFormat { kTable, kJson, kCsv, kCue, kLabels };

std::vector<std::string> tracklistFormatNames();
// Nothing for another name than those.
std::optional<TracklistFormat> tracklistFormat(std::string_view name);

class TracklistWriter {
  public:
    TracklistWriter() = default;
    virtual ~TracklistWriter() = default;
    TracklistWriter(const TracklistWriter&) = delete;
    TracklistWriter& operator=(const TracklistWriter&) = delete;

    // Before the first entry.
    virtual void begin() {}
    // Entries rise by their starts.
    virtual void add(const Entry& entry) = 0;
    // Entries that the format had no room for.
    virtual uint64_t leftOut() const { return 0; }
};

// file: the name of what the list is of; a CUE sheet has it. out: must outlive the writer.
std::unique_ptr<TracklistWriter> makeTracklistWriter(TracklistFormat format, const std::string& file,
                                                     std::ostream& out);

// The same for what is said while a stream goes on: a line for each event. Null for a format that cannot: CUE. The
// other formats but JSON and the table have lines for the ends alone.
class EventWriter {
  public:
    EventWriter() = default;
    virtual ~EventWriter() = default;
    EventWriter(const EventWriter&) = delete;
    EventWriter& operator=(const EventWriter&) = delete;

    virtual void begin() {}
    virtual void add(const Event& event) = 0;
};
std::unique_ptr<EventWriter> makeEventWriter(TracklistFormat format, std::ostream& out);

} // namespace tarn::recognise
