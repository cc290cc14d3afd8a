// SPDX-License-Identifier: Apache-2.0
// The service as a process, and a client that has an account with it.
#pragma once

#include "accounts/account_file.h"
#include "commands/account.h"
#include "server/accounts/private_files.h"
#include "server/protocol/client.h"

#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <gtest/gtest.h>
#include <spawn.h>
#include <sstream>
#include <string>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>
#include <vector>

namespace servertest {

class ServiceProcess {
  public:
    // words: the program and its arguments.
    ServiceProcess(std::vector<std::string> words, std::filesystem::path log) : log_(std::move(log)) {
        int ends[2];
        if (pipe2(ends, O_CLOEXEC) != 0) throw std::runtime_error("no pipe");
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_adddup2(&actions, ends[1], STDOUT_FILENO);
        posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, log_.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
        std::vector<char*> arguments;
        arguments.reserve(words.size() + 1);
        for (std::string& word : words) arguments.push_back(word.data());
        arguments.push_back(nullptr);
        const int status = posix_spawn(&process_, arguments[0], &actions, nullptr, arguments.data(), environ);
        posix_spawn_file_actions_destroy(&actions);
        close(ends[1]);
        if (status != 0) throw std::runtime_error("the service cannot be started");
        char byte = 0;
        while (read(ends[0], &byte, 1) == 1 && byte != '\n') firstLine_ += byte;
        close(ends[0]);
    }
    ~ServiceProcess() {
        if (process_ > 0) kill(process_, SIGKILL);
        wait();
    }
    ServiceProcess(const ServiceProcess&) = delete;
    ServiceProcess& operator=(const ServiceProcess&) = delete;

    const std::string& firstLine() const { return firstLine_; }
    uint16_t port() const { return static_cast<uint16_t>(std::stoi(firstLine_.substr(firstLine_.rfind(':') + 1))); }
    void terminate() const { kill(process_, SIGTERM); }
    // Exit status; -1 for one that was killed.
    int wait() {
        if (process_ <= 0) return exitStatus_;
        int status = 0;
        waitpid(process_, &status, 0);
        process_ = -1;
        exitStatus_ = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
        return exitStatus_;
    }
    std::string log() const { return contents(log_); }

  private:
    std::filesystem::path log_;
    pid_t process_ = -1;
    int exitStatus_ = -1;
    std::string firstLine_;
};

inline std::string addAccount(const std::filesystem::path& file) {
    std::ostringstream out;
    std::ostringstream err;
    EXPECT_EQ(tarn::server::runAccountAdd({file, "", 3, 3}, out, err), 0) << err.str();
    return tarn::server::loadAccounts(file).accounts.back().code;
}

inline Handle clientOf(const std::string& code) {
    KVXHandle* handle = nullptr;
    const uint8_t device[] = {1, 2, 3};
    EXPECT_EQ(KVXInit(&handle, code.c_str(), device, 3, nullptr, 0, 'B', 'B', 'S', nullptr, 0), 0);
    return Handle(handle);
}

} // namespace servertest
