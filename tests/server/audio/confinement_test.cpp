// SPDX-License-Identifier: Apache-2.0
// What a process can still do after it has confined itself.
#include "audio/confinement.h"

#include "support/files.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <functional>
#include <vector>

namespace {

using tarn::server::confineThisProcess;
using tarn::server::startStep;

constexpr size_t kSomeBytes = size_t{64} << 20;

// How a process of its own ends that confines itself and then does this; what it returns is its exit status.
int statusOf(const std::function<int()>& action) {
    const pid_t child = fork();
    if (child == 0) {
        try {
            confineThisProcess(kSomeBytes);
        } catch (const std::exception&) {
            _exit(99);
        }
        _exit(action());
    }
    int status = -1;
    waitpid(child, &status, 0);
    return status;
}

// The error of a call that failed; 0 if it did not.
int errorOf(long result) { return result < 0 ? errno : 0; }

TEST(Confinement, RefusesWhatReachesOutsideTheProcess) {
    const kvxtest::TemporaryDirectory folder;
    const std::string file = folder.file("file");
    kvxtest::writePrivate(file, "text");
    const struct {
        const char* name;
        std::function<int()> action;
    } cases[] = {
        {"open to read", [&] { return errorOf(open(file.c_str(), O_RDONLY)); }},
        {"open to write", [&] { return errorOf(open(file.c_str(), O_WRONLY | O_CREAT, 0600)); }},
        {"unlink", [&] { return errorOf(unlink(file.c_str())); }},
        {"socket", [] { return errorOf(socket(AF_INET, SOCK_STREAM, 0)); }},
        {"local socket", [] { return errorOf(socket(AF_UNIX, SOCK_STREAM, 0)); }},
        {"process", [] { return errorOf(fork()); }},
        {"program", [] { return errorOf(execl("/bin/true", "true", nullptr)); }},
        {"signal", [] { return errorOf(kill(getppid(), SIGKILL)); }},
        {"memory that runs",
         [] {
             void* const memory =
                 mmap(nullptr, 4096, PROT_READ | PROT_WRITE | PROT_EXEC, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
             return errorOf(memory == MAP_FAILED ? -1 : 0);
         }},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const int status = statusOf(c.action);
        ASSERT_TRUE(WIFEXITED(status));
        EXPECT_EQ(WEXITSTATUS(status), EPERM);
    }
    EXPECT_EQ(kvxtest::contents(file), "text");
}

TEST(Confinement, LeavesWhatIsOpenAndSomeMemory) {
    const kvxtest::TemporaryDirectory folder;
    kvxtest::writePrivate(folder.file("file"), "text");
    const int file = open(folder.file("file").c_str(), O_RDONLY | O_CLOEXEC);
    ASSERT_GE(file, 0);
    const int status = statusOf([&] {
        char letters[4] = {};
        std::vector<char> memory(kSomeBytes / 4, 'x');
        return lseek(file, 1, SEEK_SET) == 1 && read(file, letters, sizeof letters) == 3 && letters[0] == 'e' &&
                       memory.back() == 'x'
                   ? 7
                   : 8;
    });
    close(file);
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 7);
}

TEST(Confinement, BoundsMemory) {
    const int status = statusOf([] {
        void* const memory =
            mmap(nullptr, 2 * kSomeBytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
        return errorOf(memory == MAP_FAILED ? -1 : 0);
    });
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), ENOMEM);
}

// The only wait in this file: the timer counts processor time, so that a busy machine does not matter.
TEST(Confinement, EndsAStepThatTakesTooLong) {
    const int status = statusOf([] {
        startStep(1);
        volatile bool goOn = true;
        while (goOn) continue;
        return 0;
    });
    ASSERT_TRUE(WIFSIGNALED(status));
    EXPECT_EQ(WTERMSIG(status), SIGPROF);
}

} // namespace
