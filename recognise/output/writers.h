// SPDX-License-Identifier: Apache-2.0
// The writer of each format; result_writer.h chooses.
#pragma once

#include "recognise/output/result_writer.h"

namespace tarn::recognise {

std::unique_ptr<ResultWriter> makeTableWriter(std::ostream& out);
std::unique_ptr<ResultWriter> makeNdjsonWriter(std::ostream& out);
std::unique_ptr<ResultWriter> makeCsvWriter(std::ostream& out);
std::unique_ptr<ResultWriter> makeXmlWriter(std::ostream& out);

} // namespace tarn::recognise
