// Recognition for request threads: each borrows a reader of the catalogue.
#pragma once

#include "catalog/catalog.h"
#include "recogniser.h"

#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace tarn::server {

class CatalogRecogniser : public Recogniser {
  public:
    // Needs nothing of the location yet: a catalogue may be made, or a shard come up, later.
    explicit CatalogRecogniser(std::string location) : location_(std::move(location)) {}

    std::vector<Match> recognise(const FingerprintQuery& query, size_t most) override;
    std::vector<Match> lookUp(const std::string& id, size_t most) override;
    uint64_t recordingCount() override;
    std::optional<uint32_t> candidatesOfLastQuery() override;

  private:
    // Gives a reader that sees every commit, for the time of the work.
    template <class Work>
    auto withReader(Work work);

    std::string location_;
    std::mutex mutex_;
    std::vector<std::unique_ptr<CatalogReader>> idle_;
};

} // namespace tarn::server
