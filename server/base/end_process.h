// SPDX-License-Identifier: Apache-2.0
// The end of a process at once.
#pragma once

#ifdef TARN_COVERAGE
extern "C" { // which it does not say itself
#include <gcov.h>
}
#endif
#include <unistd.h>

namespace tarn::server {

// Runs nothing that the process, or the one that forked it, has registered for its end. A build that counts lines
// writes the counts first, which _exit() would lose.
[[noreturn]] inline void endProcess(int status) {
#ifdef TARN_COVERAGE
    __gcov_dump();
#endif
    ::_exit(status);
}

} // namespace tarn::server
