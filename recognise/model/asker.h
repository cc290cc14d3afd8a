// SPDX-License-Identifier: Apache-2.0
// Who is asked which recording a piece of audio belongs to: a server, a catalogue, or the cache before either of them.
#pragma once

#include "recognise/model/answer.h"

#include <cstdint>
#include <span>
#include <stdexcept>

namespace tarn::recognise {

// Matches that an answer has at most.
constexpr int kMaxMatches = 10;

// There is no answer: the server does not respond, refuses, or its catalogue cannot be read.
class NoAnswer : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

// One thread at a time uses an asker.
class Asker {
  public:
    Asker() = default;
    virtual ~Asker() = default;
    Asker(const Asker&) = delete;
    Asker& operator=(const Asker&) = delete;

    // samples: mono, 22050 Hz, 7 to 60 seconds; the first 30 s are what is coded. Less than 7 s is unknown. Throws
    // NoAnswer.
    virtual Answer ask(std::span<const int16_t> samples) = 0;
};

} // namespace tarn::recognise
