// SPDX-License-Identifier: Apache-2.0
#include "recognise/output/result_writer.h"

#include "recognise/output/writers.h"

#include <array>
#include <stdexcept>

namespace tarn::recognise {

namespace {

struct Kind {
    const char* name;
    std::unique_ptr<ResultWriter> (*make)(std::ostream& out);
};
constexpr std::array<Kind, 4> kKinds = {{
    // in the order of Format
    {"table", makeTableWriter},
    {"ndjson", makeNdjsonWriter},
    {"csv", makeCsvWriter},
    {"xml", makeXmlWriter},
}};

} // namespace

std::vector<std::string> formatNames() {
    std::vector<std::string> names;
    names.reserve(kKinds.size());
    for (const Kind& kind : kKinds) names.emplace_back(kind.name);
    return names;
}

Format formatOf(const std::string& name) {
    for (size_t i = 0; i < kKinds.size(); ++i) {
        if (name == kKinds.at(i).name) return static_cast<Format>(i);
    }
    throw std::invalid_argument("there is no format " + name);
}

std::unique_ptr<ResultWriter> makeResultWriter(Format format, std::ostream& out) {
    return kKinds.at(static_cast<size_t>(format)).make(out);
}

} // namespace tarn::recognise
