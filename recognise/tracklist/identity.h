// SPDX-License-Identifier: Apache-2.0
// Which matches are one recording: those whose track ids, or those of their further copies, have met.
#pragma once

#include "recognise/model/answer.h"

#include <set>
#include <string>

namespace tarn::recognise {

class Identity {
  public:
    Identity() = default;
    explicit Identity(const Match& match) { add(match); }

    void add(const Match& match);
    bool isOf(const Match& match) const;
    // The best match of the answer that is this recording, or null.
    const Match* in(const Answer& answer) const;

  private:
    std::set<std::string> ids_;
};

// The track id; where a server gives none, the names.
std::string keyOf(const Match& match);

} // namespace tarn::recognise
