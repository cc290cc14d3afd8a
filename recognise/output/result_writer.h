// SPDX-License-Identifier: Apache-2.0
// Prints results, each as soon as it is there.
#pragma once

#include "recognise/model/file_result.h"

#include <iosfwd>
#include <memory>
#include <string>
#include <vector>

namespace tarn::recognise {

class ResultWriter {
  public:
    ResultWriter() = default;
    virtual ~ResultWriter() = default;
    ResultWriter(const ResultWriter&) = delete;
    ResultWriter& operator=(const ResultWriter&) = delete;

    virtual void begin() {}
    virtual void add(const FileResult& result) = 0;
    virtual void end() {}
};

enum class Format { kTable, kNdjson, kCsv, kXml };
std::vector<std::string> formatNames();
// Throws std::invalid_argument for another name than those.
Format formatOf(const std::string& name);

// out: must outlive the writer.
std::unique_ptr<ResultWriter> makeResultWriter(Format format, std::ostream& out);

} // namespace tarn::recognise
