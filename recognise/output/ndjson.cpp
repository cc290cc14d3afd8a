// SPDX-License-Identifier: Apache-2.0
// One JSON object a line.
#include "recognise/json/answer_json.h"
#include "recognise/output/writers.h"

#include <ostream>

namespace tarn::recognise {

namespace {

class NdjsonWriter : public ResultWriter {
  public:
    explicit NdjsonWriter(std::ostream& out) : out_(out) {}

    void add(const FileResult& result) override {
        Json json;
        server::addPath(json, result.path);
        json.update(toJson(result));
        out_ << server::lineOf(json) << '\n' << std::flush;
    }

  private:
    std::ostream& out_;
};

} // namespace

std::unique_ptr<ResultWriter> makeNdjsonWriter(std::ostream& out) { return std::make_unique<NdjsonWriter>(out); }

} // namespace tarn::recognise
