// SPDX-License-Identifier: Apache-2.0
// A library to be loaded ahead of the tool: the process's malloc, whose allocations from main on fail by number, those
// of the system library and of thrown exceptions among them.
//
//   TARN_FAILING_MALLOC=n  the n-th allocation, from 0, gives nothing
//   TARN_FAILING_REST=1    and so does every later one
//   TARN_FAILING_TALLY=p   "MALLOC N", their number, is written to the file p at the end of main
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <dlfcn.h>
#include <fcntl.h>
#include <unistd.h>

extern "C" {
// The system library's own, under the names that nobody replaces.
void* __libc_malloc(size_t size);                     // NOLINT(bugprone-reserved-identifier)
void* __libc_calloc(size_t count, size_t size);       // NOLINT(bugprone-reserved-identifier)
void* __libc_realloc(void* block, size_t size);       // NOLINT(bugprone-reserved-identifier)
void* __libc_memalign(size_t alignment, size_t size); // NOLINT(bugprone-reserved-identifier)
}

namespace {

using Main = int (*)(int, char**, char**);
using StartMain = int (*)(Main, int, char**, void (*)(), void (*)(), void (*)(), void*);

constexpr long kNever = -1;

bool isRunning = false; // main
bool isRestFailing = false;
long failing = kNever;
long allocations = 0;
Main theMain = nullptr;

bool mayAllocate() {
    if (!isRunning) return true;
    const long number = allocations++;
    if (failing == kNever || number < failing || (number > failing && !isRestFailing)) return true;
    errno = ENOMEM;
    return false;
}

int countedMain(int argumentCount, char** arguments, char** environment) {
    const char* number = std::getenv("TARN_FAILING_MALLOC");
    if (number != nullptr) failing = std::strtol(number, nullptr, 10);
    isRestFailing = std::getenv("TARN_FAILING_REST") != nullptr;
    isRunning = true;
    const int status = theMain(argumentCount, arguments, environment);
    isRunning = false;
    if (const char* path = std::getenv("TARN_FAILING_TALLY")) {
        const int file = open(path, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
        dprintf(file, "MALLOC %ld\n", allocations);
        close(file);
    }
    return status;
}

} // namespace

extern "C" {

__attribute__((visibility("default"))) void* malloc(size_t size) {
    return mayAllocate() ? __libc_malloc(size) : nullptr;
}
__attribute__((visibility("default"))) void* calloc(size_t count, size_t size) {
    return mayAllocate() ? __libc_calloc(count, size) : nullptr;
}
__attribute__((visibility("default"))) void* realloc(void* block, size_t size) {
    return mayAllocate() ? __libc_realloc(block, size) : nullptr;
}
__attribute__((visibility("default"))) void* aligned_alloc(size_t alignment, size_t size) {
    return mayAllocate() ? __libc_memalign(alignment, size) : nullptr;
}
__attribute__((visibility("default"))) int posix_memalign(void** block, size_t alignment, size_t size) {
    *block = mayAllocate() ? __libc_memalign(alignment, size) : nullptr;
    return *block == nullptr ? ENOMEM : 0;
}

// NOLINTNEXTLINE(bugprone-reserved-identifier)
__attribute__((visibility("default"))) int __libc_start_main(Main mainFunction, int argumentCount, char** arguments,
                                                             void (*init)(), void (*fini)(), void (*loaderFini)(),
                                                             void* stackEnd) {
    theMain = mainFunction;
    const auto start = reinterpret_cast<StartMain>(dlsym(RTLD_NEXT, "__libc_start_main"));
    return start(&countedMain, argumentCount, arguments, init, fini, loaderFini, stackEnd);
}

} // extern "C"
