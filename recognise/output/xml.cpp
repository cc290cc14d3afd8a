// SPDX-License-Identifier: Apache-2.0
// A well-formed document whatever bytes paths and tags hold.
#include "base/base64.h"
#include "base/text.h"
#include "recognise/model/names.h"
#include "recognise/output/text_forms.h"
#include "recognise/output/writers.h"

#include <ostream>

namespace tarn::recognise {

namespace {

class XmlWriter : public ResultWriter {
  public:
    explicit XmlWriter(std::ostream& out) : out_(out) {}

    void begin() override { out_ << "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<results>\n" << std::flush; }

    void add(const FileResult& result) override {
        out_ << "  <file";
        attribute("path", result.path);
        if (!server::isUtf8(result.path)) attribute("path-base64", server::base64Of(result.path));
        attribute("status", nameOf(result.status));
        if (result.durationMs > 0) attribute("file-ms", std::to_string(result.durationMs));
        if (result.status == FileStatus::kMatched) attribute("probe-ms", std::to_string(result.probeMs));
        if (result.silent) attribute("silent", "true");
        if (result.status == FileStatus::kError) attribute("error", nameOf(result.error));
        out_ << ">\n";
        for (const Match& match : result.answer.matches) add(match);
        if (!result.reason.empty()) element("reason", result.reason, 4);
        out_ << "  </file>\n" << std::flush;
    }

    void end() override { out_ << "</results>\n" << std::flush; }

  private:
    void add(const Match& match) {
        out_ << "    <match";
        attribute("confidence", std::to_string(match.confidence));
        if (match.offsetMs) attribute("offset-ms", std::to_string(*match.offsetMs));
        if (match.durationMs) attribute("duration-ms", std::to_string(*match.durationMs));
        out_ << ">\n";
        element("title", match.title, 6);
        element("artist", match.artist, 6);
        element("album", match.album, 6);
        element("track-id", match.trackId, 6);
        element("album-id", match.albumId, 6);
        for (const std::string& id : match.companions) element("companion", id, 6);
        element("path", match.path, 6);
        out_ << "    </match>\n";
    }

    void attribute(const char* name, const std::string& value) {
        out_ << ' ' << name << "=\"" << xmlText(value) << '"';
    }

    void element(const char* name, const std::string& text, size_t indent) {
        if (text.empty()) return;
        out_ << std::string(indent, ' ') << '<' << name << '>' << xmlText(text) << "</" << name << ">\n";
    }

    std::ostream& out_;
};

} // namespace

std::unique_ptr<ResultWriter> makeXmlWriter(std::ostream& out) { return std::make_unique<XmlWriter>(out); }

} // namespace tarn::recognise
