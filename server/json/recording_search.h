// SPDX-License-Identifier: Apache-2.0
// Which recordings a search means: those in whose names every word of it occurs.
#pragma once

#include "model/recogniser.h"

#include <string>
#include <string_view>
#include <vector>

namespace tarn::server {

constexpr size_t kMaxQueryBytes = 200;

class RecordingSearch {
  public:
    // Words between blanks; none: every recording. The letters A to Z mean a to z, too.
    explicit RecordingSearch(std::string_view words);

    // Whether each word occurs in the title, an artist or the album.
    bool means(const Match& recording) const;

  private:
    std::vector<std::string> words_;
};

} // namespace tarn::server
