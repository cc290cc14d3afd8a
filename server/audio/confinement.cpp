// SPDX-License-Identifier: Apache-2.0
#include "audio/confinement.h"

#include <seccomp.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/time.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdint>
#include <fstream>
#include <memory>
#include <system_error>

namespace tarn::server {

namespace {

// Everything else fails with EPERM: a library that looks for a file it could do without goes on.
constexpr int kAllowed[] = {
    SCMP_SYS(read),         SCMP_SYS(pread64),    SCMP_SYS(readv),           SCMP_SYS(write),
    SCMP_SYS(writev),       SCMP_SYS(lseek),      SCMP_SYS(fstat),           SCMP_SYS(newfstatat),
    SCMP_SYS(close),        SCMP_SYS(brk),        SCMP_SYS(munmap),          SCMP_SYS(mremap),
    SCMP_SYS(madvise),      SCMP_SYS(futex),      SCMP_SYS(rt_sigprocmask),  SCMP_SYS(rt_sigreturn),
    SCMP_SYS(sigaltstack),  SCMP_SYS(gettid),     SCMP_SYS(getpid),          SCMP_SYS(clock_gettime),
    SCMP_SYS(gettimeofday), SCMP_SYS(getrandom),  SCMP_SYS(sched_yield),     SCMP_SYS(setitimer),
    SCMP_SYS(exit),         SCMP_SYS(exit_group), SCMP_SYS(restart_syscall),
#ifdef __SANITIZE_ADDRESS__ // a sanitizer learns through a pipe whether it can read an address
    SCMP_SYS(pipe),         SCMP_SYS(pipe2),
#endif
};

struct Release {
    void operator()(void* filter) const { ::seccomp_release(filter); }
};

void must(int result, const char* what) {
    if (result < 0) throw std::system_error(-result, std::generic_category(), what);
}

void limit(int resource, rlim_t most) {
    const rlimit both{most, most};
    if (::setrlimit(static_cast<__rlimit_resource>(resource), &both) != 0) must(-errno, "the decoder has no limits");
}

void filterCalls() {
    constexpr const char* kWhat = "the decoder cannot be confined (seccomp)";
    const std::unique_ptr<void, Release> filter(::seccomp_init(SCMP_ACT_ERRNO(EPERM)));
    if (!filter) must(-ENOMEM, kWhat);
    for (const int call : kAllowed) must(::seccomp_rule_add(filter.get(), SCMP_ACT_ALLOW, call, 0), kWhat);
    // Memory, but none that can be run. (The library's macros for this are no C++.)
    const scmp_arg_cmp notToRun{.arg = 2, .op = SCMP_CMP_MASKED_EQ, .datum_a = PROT_EXEC, .datum_b = 0};
    for (const int call : {SCMP_SYS(mmap), SCMP_SYS(mprotect)}) {
        must(::seccomp_rule_add_array(filter.get(), SCMP_ACT_ALLOW, call, 1, &notToRun), kWhat);
    }
    must(::seccomp_load(filter.get()), kWhat);
}

} // namespace

void confineThisProcess(size_t maxBytes) {
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    uint64_t pages = 0;
    std::ifstream("/proc/self/statm") >> pages;
    limit(RLIMIT_AS, pages * static_cast<uint64_t>(::sysconf(_SC_PAGESIZE)) + maxBytes);
    limit(RLIMIT_CPU, kMaxSeconds);
    limit(RLIMIT_CORE, 0);
    filterCalls();
}

void startStep(unsigned maxSeconds) {
    const itimerval time{{0, 0}, {static_cast<time_t>(maxSeconds), 0}};
    ::setitimer(ITIMER_PROF, &time, nullptr);
}

} // namespace tarn::server
