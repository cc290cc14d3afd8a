// SPDX-License-Identifier: Apache-2.0
// A row for each file, after one with the columns' names. Paths have the bytes that they have.
#include "recognise/model/names.h"
#include "recognise/output/text_forms.h"
#include "recognise/output/writers.h"

#include <array>
#include <ostream>

namespace tarn::recognise {

namespace {

std::string numberText(const std::optional<uint64_t>& number) { return number ? std::to_string(*number) : ""; }

std::string joined(const std::vector<std::string>& texts) {
    std::string all;
    for (const std::string& text : texts) all += (all.empty() ? "" : " ") + text;
    return all;
}

struct Column {
    const char* name;
    std::string (*of)(const FileResult& result, const Match& best);
};
constexpr std::array<Column, 16> kColumns = {{
    {"path", [](const FileResult& r, const Match&) { return r.path; }},
    {"status", [](const FileResult& r, const Match&) { return std::string(nameOf(r.status)); }},
    {"confidence",
     [](const FileResult& r, const Match& m) {
         return r.status == FileStatus::kMatched ? std::to_string(m.confidence) : std::string();
     }},
    {"title", [](const FileResult&, const Match& m) { return m.title; }},
    {"artist", [](const FileResult&, const Match& m) { return m.artist; }},
    {"album", [](const FileResult&, const Match& m) { return m.album; }},
    {"track_id", [](const FileResult&, const Match& m) { return m.trackId; }},
    {"album_id", [](const FileResult&, const Match& m) { return m.albumId; }},
    {"offset_ms", [](const FileResult&, const Match& m) { return numberText(m.offsetMs); }},
    {"duration_ms", [](const FileResult&, const Match& m) { return numberText(m.durationMs); }},
    {"probe_ms",
     [](const FileResult& r, const Match&) {
         return r.status == FileStatus::kMatched ? std::to_string(r.probeMs) : std::string();
     }},
    {"file_ms",
     [](const FileResult& r, const Match&) { return r.durationMs == 0 ? "" : std::to_string(r.durationMs); }},
    {"companions", [](const FileResult&, const Match& m) { return joined(m.companions); }},
    {"recording_path", [](const FileResult&, const Match& m) { return m.path; }},
    {"error", [](const FileResult& r,
                 const Match&) { return std::string(r.status == FileStatus::kError ? nameOf(r.error) : ""); }},
    {"reason", [](const FileResult& r, const Match&) { return r.silent ? "silence" : r.reason; }},
}};

class CsvWriter : public ResultWriter {
  public:
    explicit CsvWriter(std::ostream& out) : out_(out) {}

    void begin() override {
        for (const Column& column : kColumns) field(column, column.name);
        out_.flush();
    }

    void add(const FileResult& result) override {
        const Match none;
        const Match& best = result.answer.matches.empty() ? none : result.answer.matches.front();
        for (const Column& column : kColumns) field(column, csvField(column.of(result, best)));
        out_.flush();
    }

  private:
    void field(const Column& column, const std::string& text) {
        out_ << text << (&column == &kColumns.back() ? "\r\n" : ",");
    }

    std::ostream& out_;
};

} // namespace

std::unique_ptr<ResultWriter> makeCsvWriter(std::ostream& out) { return std::make_unique<CsvWriter>(out); }

} // namespace tarn::recognise
