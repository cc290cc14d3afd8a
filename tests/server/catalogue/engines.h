// SPDX-License-Identifier: Apache-2.0
// The engines in which the tests of a catalogue keep it, each with a place for one test.
#pragma once

#include <functional>
#include <gtest/gtest.h>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

namespace kvxtest {

// Where there is nothing yet.
class Place {
  public:
    virtual ~Place() = default;
    virtual std::string location() const = 0;
    // The next writer need not wait until it is sure that the one before is dead.
    virtual void forgetDeadWriter() const {}
};

struct Engine {
    std::string name;
    std::function<std::unique_ptr<Place>()> newPlace;
};

inline void PrintTo(const Engine& engine, std::ostream* out) { *out << engine.name; }

// Those of the program that these tests are in.
std::vector<Engine> engines();

inline std::string nameOfEngine(const ::testing::TestParamInfo<Engine>& info) { return info.param.name; }

} // namespace kvxtest
