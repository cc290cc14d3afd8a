// SPDX-License-Identifier: Apache-2.0
// The fields of the golden records of tests/data/record_*.bin, built a second time, field by field.
//
// A text holds the name of its member, in arrays led by field index and element number ("6.1 property"); a short holds
// 1000 + its field index. A member that is filled from the wrong field shows at once.
#pragma once

#include "records/all_records.h"
#include "support/blob_assembler.h"

#include <string>
#include <vector>

namespace kvxtest {

// Whether a track or album carries the fields that only the server sends.
enum class Sender { kClient, kServer };

Fields valuePairFields(const std::string& prefix = "");
Fields valuePairYomiFields(const std::string& prefix = "");
Fields creditFields(const std::string& prefix = "");
Fields numValuePairFields(const std::string& prefix = "", uint16_t number = 1000);
Fields releaseFields(const std::string& prefix = "");
Fields trackDescriptorFields(const std::string& prefix = "");
Fields cTrackDataFields(const std::string& prefix = "");
Fields trackFields(const std::string& prefix = "", Sender sender = Sender::kClient);
Fields trackInfoFields(const std::string& prefix = "");
Fields trackToAlbumFields();
Fields shortAlbumFields(const std::string& prefix = "");
Fields cdMediaFields(Sender sender = Sender::kClient);
Fields cAlbumDataFields(const std::string& prefix = "");
Fields albumFields(Sender sender = Sender::kClient);
Fields shortDvdFields(const std::string& prefix = "");
Fields dvdChapterFields(const std::string& prefix = "");
Fields dvdCastFields(const std::string& prefix = "");
Fields dvdDiscFields(const std::string& prefix = "");
Fields dvdFields();
Fields performerFields();

struct GoldenRecord {
    std::string name; // of the file: record_<name>.bin
    const kvx::RecordTable* table;
    Bytes blob;
};

// One or more for every record.
std::vector<GoldenRecord> goldenRecords();

} // namespace kvxtest
