// SPDX-License-Identifier: Apache-2.0
// Bounds for a process that reads a file which may be hostile.
#pragma once

#include <cstddef>

namespace tarn::server {

// What one file may take.
constexpr size_t kMaxTagBytes = size_t{96} << 20; // of memory, beyond what the process has at the start
constexpr size_t kMaxDecoderBytes = size_t{160} << 20;
constexpr unsigned kMaxStepSeconds = 10; // of processor time, from one startStep() to the next
constexpr unsigned kMaxSeconds = 7200;   // of processor time in all: a day of music at twelve times its speed

// From here on this process can use the memory that it is allowed, read, write and seek in what it has open, and end;
// nothing else: no file, no socket, no other process, no program. Its end follows that of its parent. maxBytes: of
// memory, beyond what it has now. Throws std::system_error if the system cannot confine it.
void confineThisProcess(size_t maxBytes);

// The processor time of a step begins. A step that takes longer ends the process with SIGPROF.
void startStep(unsigned maxSeconds = kMaxStepSeconds);

} // namespace tarn::server
