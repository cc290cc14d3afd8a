// SPDX-License-Identifier: Apache-2.0
// The log as lines of text:
//   2026-11-20 18:10:26.123 tarn[4711:4711] text
// local time, process id, thread id. An entry needs no memory of its own.
#pragma once

#include "platform/clock.h"
#include "platform/log.h"
#include "platform/text_output.h"

namespace tarn {

class LineLog : public Log {
  public:
    LineLog(TextOutput& output, const Clock& clock) : output_(output), clock_(clock) {}
    void write(const TextPieces& text) override;

  private:
    TextOutput& output_;
    const Clock& clock_;
};

} // namespace tarn
