// SPDX-License-Identifier: Apache-2.0
// A line for a reader: confidence, place in the recording, name and album, file.
#include "base/text.h"
#include "recognise/output/text_forms.h"
#include "recognise/output/writers.h"

#include <fmt/format.h>
#include <ostream>

namespace tarn::recognise {

namespace {

constexpr size_t kNameColumns = 48;

std::string matchedText(const Match& match) {
    std::string name = nameText(match.artist, match.title);
    if (name.empty()) name = match.trackId;
    if (!match.album.empty()) name += " [" + match.album + "]";
    return name;
}

class TableWriter : public ResultWriter {
  public:
    explicit TableWriter(std::ostream& out) : out_(out) {}

    void add(const FileResult& result) override {
        const std::string file = server::inOneLine(result.path);
        switch (result.status) {
        case FileStatus::kMatched: {
            const Match& best = result.answer.matches.front();
            const std::string place = best.offsetMs ? "at " + clockText(*best.offsetMs) : "";
            line(fmt::format("{:3} %", best.confidence), place, matchedText(best), file);
            break;
        }
        case FileStatus::kUnknown:
            line("  ?", "", result.silent ? "silence" : "unknown", file);
            break;
        case FileStatus::kError:
            line("  !", "", result.reason, file);
            break;
        }
        out_.flush();
    }

  private:
    void line(const std::string& sign, const std::string& place, const std::string& name, const std::string& file) {
        out_ << padded(sign, 7) << padded(place, 12) << padded(server::inOneLine(name), kNameColumns) << "  " << file
             << '\n';
    }

    std::ostream& out_;
};

} // namespace

std::unique_ptr<ResultWriter> makeTableWriter(std::ostream& out) { return std::make_unique<TableWriter>(out); }

} // namespace tarn::recognise
