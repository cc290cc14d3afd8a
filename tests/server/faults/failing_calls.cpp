// SPDX-License-Identifier: Apache-2.0
// Loaded before a program's libraries: makes one of its system calls fail, or all.
//   FAILING_STATE   a file of 16 bytes that all its processes share: the calls so far, and 1 while every call fails
//   FAILING_CALL    number of the call that fails, from 1; 0: none, they are only counted
//   FAILING_LASTS   set: so does every call after it, in all its processes
//   FAILING_ERROR   the error; it also chooses the calls that count: those that it can befall. 0: the call ends its
//                   process, and only those of other processes than the first count
// Standard input, output and error are left alone, and so are pipes, sockets and events: a disk does not fail there.
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <sys/vfs.h>
#include <unistd.h>

namespace {

enum Kind { kOpens, kWrites, kReads }; // what makes a descriptor, what needs room, all else

using Calls = std::atomic<uint64_t>;

struct State {
    Calls calls;
    std::atomic<uint64_t> all;
};
State* state = nullptr;
uint64_t failing = 0;
bool lasts = false;
int error = 0;
pid_t first = 0;

__attribute__((constructor)) void begin() {
    const char* path = getenv("FAILING_STATE");
    const char* call = getenv("FAILING_CALL");
    const char* number = getenv("FAILING_ERROR");
    if (path == nullptr || call == nullptr || number == nullptr) return;
    const long file = syscall(SYS_open, path, O_RDWR | O_CLOEXEC);
    if (file < 0) return;
    void* place = mmap(nullptr, sizeof(State), PROT_READ | PROT_WRITE, MAP_SHARED, static_cast<int>(file), 0);
    syscall(SYS_close, file);
    if (place == MAP_FAILED) return;
    failing = strtoull(call, nullptr, 10);
    lasts = getenv("FAILING_LASTS") != nullptr;
    error = atoi(number);
    first = getpid();
    state = static_cast<State*>(place);
}

bool befalls(Kind kind) {
    if (error == 0) return getpid() != first;
    if (error == EMFILE) return kind == kOpens;
    if (error == ENOSPC) return kind == kWrites;
    return true;
}

bool isOnDisk(int file) {
    struct stat about {};
    if (file <= STDERR_FILENO || syscall(SYS_fstat, file, &about) != 0) return false;
    return S_ISREG(about.st_mode) || S_ISDIR(about.st_mode);
}

constexpr int kByName = -1; // a call that takes no descriptor

bool fails(Kind kind, int file = kByName) {
    if (state == nullptr || !befalls(kind) || (file != kByName && !isOnDisk(file))) return false;
    const bool isTheOne = ++state->calls == failing;
    if (isTheOne && lasts) state->all = 1;
    if (!isTheOne && state->all == 0) return false;
    if (error == 0) kill(getpid(), SIGKILL);
    errno = error;
    return true;
}

template <class Function>
Function* real(const char* name) {
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

} // namespace

#define REAL(name) static auto* const next = real<decltype(name)>(#name)

extern "C" {

#define OPEN(name)                                                                                                     \
    int name(const char* path, int flags, ...) {                                                                       \
        REAL(name);                                                                                                    \
        va_list more;                                                                                                  \
        va_start(more, flags);                                                                                         \
        const mode_t mode = (flags & (O_CREAT | O_TMPFILE)) != 0 ? va_arg(more, mode_t) : 0;                           \
        va_end(more);                                                                                                  \
        if (error == ENOSPC ? (flags & O_CREAT) != 0 && fails(kWrites) : fails(kOpens)) return -1;                     \
        return next(path, flags, mode);                                                                                \
    }
OPEN(open)
OPEN(open64)

#define OPENAT(name)                                                                                                   \
    int name(int folder, const char* path, int flags, ...) {                                                           \
        REAL(name);                                                                                                    \
        va_list more;                                                                                                  \
        va_start(more, flags);                                                                                         \
        const mode_t mode = (flags & (O_CREAT | O_TMPFILE)) != 0 ? va_arg(more, mode_t) : 0;                           \
        va_end(more);                                                                                                  \
        if (error == ENOSPC ? (flags & O_CREAT) != 0 && fails(kWrites) : fails(kOpens)) return -1;                     \
        return next(folder, path, flags, mode);                                                                        \
    }
OPENAT(openat)
OPENAT(openat64)

// Every other call: result, name, parameters, arguments, what a failure gives, its kind and its descriptor.
#define CALL(result, name, parameters, arguments, failure, ...)                                                        \
    result name parameters {                                                                                           \
        REAL(name);                                                                                                    \
        if (fails(__VA_ARGS__)) return failure;                                                                        \
        return next arguments;                                                                                         \
    }

CALL(FILE*, fopen, (const char* path, const char* mode), (path, mode), nullptr, kOpens)
CALL(FILE*, fopen64, (const char* path, const char* mode), (path, mode), nullptr, kOpens)
CALL(DIR*, opendir, (const char* path), (path), nullptr, kOpens)
CALL(int, socket, (int family, int type, int protocol), (family, type, protocol), -1, kOpens)
CALL(int, socketpair, (int family, int type, int protocol, int* ends), (family, type, protocol, ends), -1, kOpens)
CALL(int, accept4, (int file, sockaddr* address, socklen_t* length, int flags), (file, address, length, flags), -1,
     kOpens)
CALL(int, pipe2, (int* ends, int flags), (ends, flags), -1, kOpens)

CALL(ssize_t, write, (int file, const void* bytes, size_t count), (file, bytes, count), -1, kWrites, file)
CALL(ssize_t, writev, (int file, const iovec* parts, int count), (file, parts, count), -1, kWrites, file)
CALL(ssize_t, pwrite, (int file, const void* bytes, size_t count, off_t place), (file, bytes, count, place), -1,
     kWrites, file)
CALL(ssize_t, pwrite64, (int file, const void* bytes, size_t count, off64_t place), (file, bytes, count, place), -1,
     kWrites, file)
CALL(int, fsync, (int file), (file), -1, kWrites, file)
CALL(int, fdatasync, (int file), (file), -1, kWrites, file)
CALL(int, ftruncate, (int file, off_t length), (file, length), -1, kWrites, file)
CALL(int, ftruncate64, (int file, off64_t length), (file, length), -1, kWrites, file)
CALL(int, msync, (void* place, size_t length, int flags), (place, length, flags), -1, kWrites)
CALL(int, mkdir, (const char* path, mode_t mode), (path, mode), -1, kWrites)
CALL(int, rename, (const char* from, const char* to), (from, to), -1, kWrites)
CALL(int, link, (const char* from, const char* to), (from, to), -1, kWrites)

CALL(ssize_t, read, (int file, void* bytes, size_t count), (file, bytes, count), -1, kReads, file)
CALL(ssize_t, pread, (int file, void* bytes, size_t count, off_t place), (file, bytes, count, place), -1, kReads, file)
CALL(ssize_t, pread64, (int file, void* bytes, size_t count, off64_t place), (file, bytes, count, place), -1, kReads,
     file)
CALL(dirent*, readdir, (DIR * folder), (folder), nullptr, kReads)
CALL(dirent64*, readdir64, (DIR * folder), (folder), nullptr, kReads)
CALL(int, stat, (const char* path, struct stat* about), (path, about), -1, kReads)
CALL(int, stat64, (const char* path, struct stat64* about), (path, about), -1, kReads)
CALL(int, lstat, (const char* path, struct stat* about), (path, about), -1, kReads)
CALL(int, lstat64, (const char* path, struct stat64* about), (path, about), -1, kReads)
CALL(int, fstat, (int file, struct stat* about), (file, about), -1, kReads, file)
CALL(int, fstat64, (int file, struct stat64* about), (file, about), -1, kReads, file)
// By this name a library that was linked with an earlier C library asks.
CALL(int, __fxstat, (int version, int file, struct stat* about), (version, file, about), -1, kReads, file)
CALL(int, fstatfs, (int file, struct statfs* about), (file, about), -1, kReads, file)
CALL(int, statfs64, (const char* path, struct statfs64* about), (path, about), -1, kReads)
CALL(void*, mmap, (void* place, size_t length, int protection, int flags, int file, off_t offset),
     (place, length, protection, flags, file, offset), MAP_FAILED, kReads, file)
CALL(void*, mmap64, (void* place, size_t length, int protection, int flags, int file, off64_t offset),
     (place, length, protection, flags, file, offset), MAP_FAILED, kReads, file)
CALL(off_t, lseek, (int file, off_t place, int from), (file, place, from), -1, kReads, file)
CALL(off64_t, lseek64, (int file, off64_t place, int from), (file, place, from), -1, kReads, file)
CALL(char*, realpath, (const char* path, char* resolved), (path, resolved), nullptr, kReads)
CALL(int, access, (const char* path, int mode), (path, mode), -1, kReads)
CALL(int, unlink, (const char* path), (path), -1, kReads)
CALL(int, unlinkat, (int folder, const char* path, int flags), (folder, path, flags), -1, kReads)
CALL(int, rmdir, (const char* path), (path), -1, kReads)
CALL(int, remove, (const char* path), (path), -1, kReads)
CALL(int, fchmod, (int file, mode_t mode), (file, mode), -1, kReads, file)
CALL(int, fchown, (int file, uid_t user, gid_t group), (file, user, group), -1, kReads, file)
CALL(int, flock, (int file, int operation), (file, operation), -1, kReads, file)

// Locks and flags. The third argument, if there is one, is a number or a pointer.
#define FCNTL(name)                                                                                                    \
    int name(int file, int command, ...) {                                                                             \
        REAL(name);                                                                                                    \
        va_list more;                                                                                                  \
        va_start(more, command);                                                                                       \
        void* argument = va_arg(more, void*);                                                                          \
        va_end(more);                                                                                                  \
        return fails(kReads, file) ? -1 : next(file, command, argument);                                               \
    }
FCNTL(fcntl)
FCNTL(fcntl64)

} // extern "C"
