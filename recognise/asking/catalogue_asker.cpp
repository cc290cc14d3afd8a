// SPDX-License-Identifier: Apache-2.0
#include "recognise/asking/catalogue_asker.h"

#include "coding/query_coder.h"
#include "model/frames.h"
#include "protocol/match_answer.h"
#include "protocol/record_filter.h"
#include "recognise/asking/answer_records.h"

namespace tarn::recognise {

CatalogueAsker::CatalogueAsker(server::Recogniser& catalogue)
    : catalogue_(catalogue), reader_(server::makeLibraryHandle()) {}

Answer CatalogueAsker::ask(std::span<const int16_t> samples) {
    const server::FingerprintQuery query = server::codeQuery(samples, server::durationMsOf(samples));
    try {
        const std::vector<server::Match> matches = catalogue_.recognise(query, kMaxMatches).matches;
        if (matches.empty()) return {};
        Answer answer = readAnswer(reader_.get(), server::matchAnswer(matches, server::Permissions()),
                                   server::readMatchHeader(server::matchHeader(matches.front())));
        for (size_t i = 0; i < answer.matches.size(); ++i) answer.matches[i].path = matches[i].path;
        return answer;
    } catch (const server::Unavailable& error) {
        throw NoAnswer(error.what());
    } catch (const server::DamagedBlob& error) {
        throw NoAnswer(error.what());
    }
}

} // namespace tarn::recognise
