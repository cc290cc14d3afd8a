// SPDX-License-Identifier: Apache-2.0
#include "standard_descriptors.h"

#include <cerrno>
#include <fcntl.h>
#include <unistd.h>

namespace tarn {

namespace {
constexpr int kNoSystem = 71; // EX_OSERR
}

void openStandardDescriptors() noexcept {
    for (int descriptor = STDIN_FILENO; descriptor <= STDERR_FILENO; ++descriptor) {
        if (fcntl(descriptor, F_GETFD) >= 0 || errno != EBADF) continue;
        // The system gives the lowest free number, which is this one: those below it are open.
        if (open("/dev/null", O_RDWR) != descriptor) _exit(kNoSystem);
    }
}

} // namespace tarn
