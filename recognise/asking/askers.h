// SPDX-License-Identifier: Apache-2.0
// Makes what a run asks: a server or a catalogue, with the cache before it.
#pragma once

#include "matching/catalogue_recogniser.h"
#include "recognise/asking/server_asker.h"
#include "recognise/cache/answer_cache.h"
#include "recognise/model/asker.h"

#include <chrono>
#include <filesystem>
#include <iosfwd>
#include <memory>
#include <optional>
#include <string>

namespace tarn::recognise {

struct AskingOptions {
    std::string server; // one of these two
    std::string catalogue;
    std::filesystem::path codeFile;
    int retries = 4;
    HttpOptions http;

    bool useCache = true;
    bool refresh = false;
    std::filesystem::path cacheFile;
    std::chrono::hours cacheTime{30 * 24};
};

class Askers {
  public:
    // A cache that cannot be used is named on err, and the run goes on without it. Throws std::runtime_error where
    // the server or the catalogue cannot be asked at all.
    Askers(const AskingOptions& options, std::ostream& err);

    // For one thread. Any thread may call it.
    std::unique_ptr<Asker> make();
    AnswerCache* cache() { return cache_ ? &*cache_ : nullptr; }

  private:
    std::optional<ServerOptions> server_;
    std::optional<server::CatalogueRecogniser> catalogue_;
    std::optional<AnswerCache> cache_;
};

} // namespace tarn::recognise
