// SPDX-License-Identifier: Apache-2.0
// Makes system calls of the programs fail that a test starts, by the library failing_calls.cpp.
#pragma once

#include "support/temporary_directory.h"

#include <array>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

namespace kvxtest {

struct Error {
    const char* name;
    int number;
};

class FailingCalls {
  public:
    FailingCalls() {
        setenv("ASAN_OPTIONS", "verify_asan_link_order=0", 1);
        setenv("FAILING_STATE", file_.c_str(), 1);
    }
    ~FailingCalls() {
        for (const char* name : {"ASAN_OPTIONS", "FAILING_STATE", "FAILING_CALL", "FAILING_LASTS", "FAILING_ERROR"})
            unsetenv(name);
    }
    FailingCalls(const FailingCalls&) = delete;
    FailingCalls& operator=(const FailingCalls&) = delete;

    // For the programs that are started from now on.
    void fail(uint64_t call, const Error& error) const {
        const std::array<uint64_t, 2> none{};
        std::ofstream(file_, std::ios::binary).write(reinterpret_cast<const char*>(none.data()), sizeof none);
        setenv("FAILING_CALL", std::to_string(call).c_str(), 1);
        setenv("FAILING_ERROR", std::to_string(error.number).c_str(), 1);
    }
    // Every call after the one that fails does, too.
    static void failOn() { setenv("FAILING_LASTS", "1", 1); }
    // Whether every call fails from now on that the error can befall, also in programs that run.
    void failAll(bool all) const {
        const uint64_t number = all ? 1 : 0;
        std::fstream state(file_, std::ios::binary | std::ios::in | std::ios::out);
        state.seekp(sizeof number);
        state.write(reinterpret_cast<const char*>(&number), sizeof number);
    }
    static void preload() { setenv("LD_PRELOAD", TARN_FAILING_CALLS, 1); }
    uint64_t calls() const {
        uint64_t number = 0;
        std::ifstream(file_, std::ios::binary).read(reinterpret_cast<char*>(&number), sizeof number);
        return number;
    }

  private:
    TemporaryDirectory folder_;
    std::filesystem::path file_ = folder_ / "state";
};

} // namespace kvxtest
