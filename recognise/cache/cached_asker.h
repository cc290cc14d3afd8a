// SPDX-License-Identifier: Apache-2.0
// Asks the cache before the one who knows.
#pragma once

#include "recognise/cache/answer_cache.h"
#include "recognise/model/asker.h"

#include <memory>

namespace tarn::recognise {

class CachedAsker : public Asker {
  public:
    // cache: must outlive this.
    CachedAsker(std::unique_ptr<Asker> source, AnswerCache& cache) : source_(std::move(source)), cache_(cache) {}

    Answer ask(std::span<const int16_t> samples) override {
        if (std::optional<Answer> known = cache_.answerTo(samples)) return std::move(*known);
        Answer answer = source_->ask(samples);
        cache_.keep(samples, answer);
        return answer;
    }

  private:
    std::unique_ptr<Asker> source_;
    AnswerCache& cache_;
};

} // namespace tarn::recognise
