// SPDX-License-Identifier: Apache-2.0
// CPU time and medians.
#pragma once

#include <algorithm>
#include <ctime>
#include <vector>

namespace bench {

inline double cpuMs(clockid_t clock = CLOCK_PROCESS_CPUTIME_ID) {
    timespec time{};
    clock_gettime(clock, &time);
    return static_cast<double>(time.tv_sec) * 1e3 + static_cast<double>(time.tv_nsec) * 1e-6;
}

template <class Work>
double cpuMsOf(Work work, clockid_t clock = CLOCK_PROCESS_CPUTIME_ID) {
    const double before = cpuMs(clock);
    work();
    return cpuMs(clock) - before;
}

inline double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values.at(values.size() / 2);
}

} // namespace bench
