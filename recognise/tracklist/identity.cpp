// SPDX-License-Identifier: Apache-2.0
#include "recognise/tracklist/identity.h"

#include <algorithm>

namespace tarn::recognise {

std::string keyOf(const Match& match) {
    return match.trackId.empty() ? match.artist + '\n' + match.title : match.trackId;
}

void Identity::add(const Match& match) {
    ids_.insert(keyOf(match));
    ids_.insert(match.companions.begin(), match.companions.end());
}

bool Identity::isOf(const Match& match) const {
    return ids_.contains(keyOf(match)) || std::any_of(match.companions.begin(), match.companions.end(),
                                                      [this](const auto& id) { return ids_.contains(id); });
}

const Match* Identity::in(const Answer& answer) const {
    const auto found =
        std::find_if(answer.matches.begin(), answer.matches.end(), [this](const Match& match) { return isOf(match); });
    return found == answer.matches.end() ? nullptr : &*found;
}

} // namespace tarn::recognise
