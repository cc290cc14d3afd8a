// SPDX-License-Identifier: Apache-2.0
// Reading a catalogue's folder.
#pragma once

#include "catalogue/lmdb/list_run.h"
#include "catalogue/lmdb/transaction.h"

#include <array>
#include <deque>

namespace tarn::server::lmdb {

class Reader final : public StoreReader {
  public:
    explicit Reader(std::shared_ptr<Environment> environment);

    bool refresh() override;
    void rest() override;
    std::vector<StoredValue> values(std::span<const std::string> keys) override;
    std::vector<StoredList> lists(ListTable table, std::span<const ListNumber> numbers, size_t enough) override;
    void warmUp(ListTable table, const std::stop_token& stop) override;
    void forEachList(ListTable table, const std::function<void(ListNumber, const StoredList&)>& visit) override;
    std::vector<std::string> check(bool deep) override;
    std::optional<uint64_t> bytesTaken() override;
    void backUp(const std::string& destination) override;

  private:
    // Where the runs of a table lie in memory.
    void load(ListTable table);

    std::shared_ptr<Environment> environment_;
    Transaction reading_;
    bool resting_ = false;
    ListTable loaded_ = 0; // the table of runs_; 0: none
    std::array<std::vector<ListRun>, kSegments> runs_;
    std::deque<std::vector<std::string_view>> pieces_; // that were given out
    std::deque<std::string> joined_;                   // values that were given out
};

} // namespace tarn::server::lmdb
