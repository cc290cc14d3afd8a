// SPDX-License-Identifier: Apache-2.0
// The log of the service: where its lines go and how they begin.
#pragma once

#include <memory>
#include <spdlog/logger.h>

namespace tarn::server {

// Whether the descriptor leads to the system's journal. journalStream: the variable JOURNAL_STREAM, "DEVICE:INODE" of
// the journal's socket; may be null. A program whose output was redirected still has the variable, hence the
// comparison.
bool isJournal(int descriptor, const char* journalStream);

// A line in the journal begins with its priority, as in "<3>", and the journal adds the time. Any other line begins
// with the time. Both then have the level as a word.
std::shared_ptr<spdlog::logger> makeServiceLog(int descriptor, bool toJournal);

// What a line of an error that is not logged begins with.
const char* errorPrefix(bool toJournal);

} // namespace tarn::server
