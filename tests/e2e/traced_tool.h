// SPDX-License-Identifier: Apache-2.0
// A run of the tool whose memory a test can read: every readable byte of it, and the registers of its thread, which is
// what a dump of its core holds.
#pragma once

#include "support/hex.h"
#include "support/process.h"

#include <string>
#include <vector>

namespace kvxtest {

struct MemoryRegion {
    std::string name; // as the system names the mapping: a file, "[heap]", "[stack]", nothing; "registers"
    bool isWritable = false;
    Bytes bytes;
};
using Memory = std::vector<MemoryRegion>;

class TracedTool {
  public:
    // Output and log go to files of these names.
    TracedTool(const std::string& program, const std::vector<std::string>& arguments, const std::string& outputFile,
               const std::string& errorsFile);
    ~TracedTool(); // kills what has not ended
    TracedTool(const TracedTool&) = delete;
    TracedTool& operator=(const TracedTool&) = delete;

    // What the tool has in memory now. It is stopped for as long as that takes.
    Memory memory();
    // Waits for the tool's end and gives its memory as the last instruction left it.
    Memory memoryAtExit();
    // After memoryAtExit(), which it waits for; -1: ended by a signal.
    int exitStatus();

  private:
    void waitForStop(int expected);
    void resume() const;
    Memory readMemory() const;

    Process process_;
};

} // namespace kvxtest
