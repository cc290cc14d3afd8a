// SPDX-License-Identifier: Apache-2.0
// Recognition for request threads: each borrows a reader of the catalogue.
#pragma once

#include "catalogue/catalogue.h"
#include "model/recogniser.h"

#include <functional>
#include <memory>
#include <mutex>
#include <stop_token>
#include <string>
#include <unordered_set>
#include <utility>
#include <vector>

namespace tarn::server {

class CatalogueRecogniser : public Recogniser {
  public:
    // Gets one line for each damaged recording that look-ups go on without.
    using Log = std::function<void(const std::string&)>;
    // Does not open the catalogue yet: it may be made later.
    explicit CatalogueRecogniser(std::string location, Log log = {});

    Recognition recognise(const FingerprintQuery& query, size_t maxMatches) override;
    std::vector<Match> lookUp(const std::string& id, size_t maxMatches) override;
    std::optional<uint32_t> browse(uint32_t after, uint32_t mostIds,
                                   const std::function<bool(const Match&)>& show) override;
    uint64_t recordingCount() override;
    // Brings what recognition reads into memory; a catalogue that cannot be read now is left alone.
    void warmUp(const std::stop_token& stop);

  private:
    // Calls work with a reader that sees every commit so far.
    template <class Work>
    auto withReader(Work work);

    void giveBack(std::unique_ptr<CatalogueReader> reader);
    CatalogueUnavailable notAll() const;
    void passOver(uint32_t id, const std::string& problem);

    std::string location_;
    std::string shown_; // the location, for messages
    Log log_;
    std::mutex mutex_;
    std::unordered_set<uint32_t> passedOver_;
    std::vector<std::unique_ptr<CatalogueReader>> idle_;
};

} // namespace tarn::server
