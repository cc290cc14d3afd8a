// SPDX-License-Identifier: Apache-2.0
// Every record through the functions of kvx.h alone, in one shape, in terms of the plain codec's records.
#pragma once

#include "support/plain_codec.h"

#include <functional>
#include <optional>
#include <vector>

namespace kvxtest {

struct Loaded {
    int32_t status = 0;
    // What the struct held; of a loader that allocates, only where it handed one out.
    std::optional<plain::Record> record;
};

// All memory is from the hooks and given back before these return, but for what freeing leaves on purpose.
struct LibraryRecord {
    const plain::RecordType* type;
    // Into a zeroed record, which is the first allocation.
    std::function<Loaded(const Bytes&)> load;
    std::function<Loaded(const Bytes&)> loadNew;      // empty where there is none
    std::function<Bytes(const plain::Record&)> write; // empty where there is none
};

const std::vector<LibraryRecord>& libraryRecords();

// The library's reading of a blob beside the plain one's, through every loader, with the failing-th allocation giving
// nothing: status, contents as far as they go, blocks that stay unreleased, number of allocations. The test fails where
// they differ. Returns how many readings an allocation failed in.
size_t compareReadings(const LibraryRecord& library, const Bytes& bytes, long failing = plain::kNever);

// The blob of number/value pairs, which is no field of a record; fill is what its buffer holds before.
Bytes libraryNumValuePairs(const std::vector<plain::Record>& pairs, uint8_t fill);

} // namespace kvxtest
