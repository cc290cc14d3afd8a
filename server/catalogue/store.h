// SPDX-License-Identifier: Apache-2.0
// What the catalogue asks of an engine that stores it: values under keys, and lists of recording numbers that grow at
// their end. Keys, values and lists are the catalogue's; how they lie on a disk or on nodes is the engine's. An engine
// is a folder of its own below this one, and nothing but store.cpp knows which there are.
#pragma once

#include "catalogue/errors.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <stop_token>
#include <string>
#include <string_view>
#include <vector>

namespace tarn::server {

// Lists lie in tables, which are erased as a whole. A table is named by how many bits its lists' numbers have at most,
// from 10 to 42, and a turn, 0 or 1: while one is in use the other can be made.
using ListTable = uint8_t;
constexpr ListTable tableOf(unsigned bits, unsigned turn) { return static_cast<ListTable>(bits | turn << 6); }
constexpr unsigned bitsOf(ListTable table) { return table & 0x3f; }
using ListNumber = uint64_t;
constexpr size_t kToCount = 0;

struct StoredValue {
    enum class State { kAbsent, kThere, kLost }; // lost: what holds it does not answer
    State state = State::kAbsent;
    std::string_view bytes; // empty: what is there is damaged
};

// A list as a reading gave it. The pieces are, one after the other, its bytes from the start
// (catalogue/posting_list.h).
struct StoredList {
    std::span<const std::string_view> pieces;
    uint64_t size = 0;  // of the whole list, in bytes; 0: there is none
    bool whole = false; // the pieces hold all of it
    bool lost = false;  // what holds it does not answer, or what it says is damaged
};

// Used by one thread at a time. What a reading gives stays valid until the next refresh() or rest(). Every operation
// may throw CatalogueError; where a part of the store does not answer, a reading marks what it did not get as lost.
class StoreReader {
  public:
    virtual ~StoreReader() = default;

    // Goes to the latest commit. False: nothing was committed since the last time.
    virtual bool refresh() = 0;
    // Keeps nothing of the store busy until the next refresh(), which must come before any reading.
    virtual void rest() = 0;

    // In the order of the keys, in one wave.
    virtual std::vector<StoredValue> values(std::span<const std::string> keys) = 0;
    // In the order of the numbers, in one wave: at least the first `enough` bytes of each. With kToCount, what it takes
    // to count the ids of each (countOf) is enough: of a list that is not whole then, the pieces may be other parts of
    // it than the first.
    virtual std::vector<StoredList> lists(ListTable table, std::span<const ListNumber> numbers, size_t enough) = 0;
    // Brings the lists of a table into memory, where that makes the readings after it faster and there is room for
    // them.
    virtual void warmUp(ListTable /*table*/, const std::stop_token& /*stop*/) {}
    // Every list of a table, whole, in any order.
    virtual void forEachList(ListTable table, const std::function<void(ListNumber, const StoredList&)>& visit) = 0;
    // What is wrong with the store itself, a line each, with what to do about it. deep: reads every byte.
    virtual std::vector<std::string> check(bool deep) = 0;
    // Whether parts of commits were lost after they had returned, so that lists or values may be missing.
    virtual bool lostCommits() { return false; }
    // The same of what was read since the last refresh(), without asking each time: what is not there may be lost.
    virtual bool hasGaps() { return false; }
    // That the store takes, on its disk or in the memory of its nodes; nothing: it cannot tell.
    virtual std::optional<uint64_t> bytesTaken() = 0;
    // A copy of the whole store, consistent while others read and write, in a folder where nothing is.
    virtual void backUp(const std::string& destination) = 0;
};

struct Change {
    std::string key;
    std::optional<std::string> value; // nothing: the key is erased
};

struct Posting {
    ListNumber list = 0;
    uint32_t id = 0;
};

// What is committed together. Postings come in the order of their ids, without doubles; these are higher than those
// that their lists hold. No value is empty.
struct Batch {
    ListTable table = 0;
    std::vector<Posting> postings;
    std::vector<Change> changes; // made in this order, after the postings
};

// Gives a list anew from its pieces, in one piece; empty: it goes.
using Rewrite = std::function<std::string(ListNumber, std::span<const std::string_view> pieces)>;

// The one writer of a store: a second one, in any process, is refused with a CatalogueError that says so.
class StoreWriter {
  public:
    virtual ~StoreWriter() = default;

    // That sees what was committed up to its last refresh().
    virtual StoreReader& reader() = 0;
    // Durable, as far as the engine promises, when it returns. All of it or nothing; an engine that cannot promise that
    // keeps the order: a batch that was cut off leaves postings without a recording, which are harmless.
    virtual void commit(const Batch& batch) = 0;
    // Rewrites every list of a table. Readers see each list either as it was or as it is after.
    virtual void rewriteLists(ListTable table, const Rewrite& rewrite) = 0;
    virtual void eraseLists(ListTable table) = 0;
    // The caller has written again what was missing after lostCommits().
    virtual void isWholeAgain() {}
    // Gives back what room it can.
    virtual void compact() = 0;
};

// The location as logs and messages may show it: without a password.
std::string shownLocation(const std::string& location);

// Another number after each commit; nothing: the engine cannot tell.
std::optional<int64_t> lastWritten(const std::string& location);

// Throws CatalogueError where a copy of a store cannot be: it is a folder.
void expectPlaceForCopy(const std::string& destination);

// location: a folder, or redis://HOST:PORT[,HOST:PORT...]. Throws CatalogueError where there is no catalogue.
std::unique_ptr<StoreReader> openStoreReader(const std::string& location);
// make: where there is nothing yet, an empty store is made.
std::unique_ptr<StoreWriter> openStoreWriter(const std::string& location, bool make);

} // namespace tarn::server
