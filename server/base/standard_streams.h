// SPDX-License-Identifier: Apache-2.0
// A program from its first line to its exit status, with output that is not lost unnoticed.
#pragma once

#include <functional>
#include <iosfwd>

namespace tarn::server {

// run: prints to both and returns the exit status. An exception ends it with status 1 and a line. What cannot be
// written to standard output is a failure of its own, kOutputLost, where there is no other.
int runWithStandardStreams(const std::function<int(std::ostream& out, std::ostream& err)>& run);

} // namespace tarn::server
