// SPDX-License-Identifier: Apache-2.0
#include "protocol/match_answer.h"

#include "protocol/answer_writer.h"
#include "protocol/record_filter.h"

namespace tarn::server {

std::string matchAnswer(std::span<const Match> matches, const Permissions& permissions) {
    AnswerWriter answer;
    for (const Match& match : matches) answer.add('T', permittedTrack(match.trackBlob, permissions));
    for (const Match& match : matches) {
        answer.add('A', match.albumBlob.empty() ? bareAlbum(match.confidence)
                                                : permittedAlbum(match.albumBlob, permissions, match.confidence));
    }
    return answer.take();
}

} // namespace tarn::server
