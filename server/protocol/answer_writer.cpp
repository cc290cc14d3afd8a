// SPDX-License-Identifier: Apache-2.0
#include "protocol/answer_writer.h"

#include "base/bytes.h"
#include "core/packet_layout.h"

#include <limits>
#include <utility>

namespace tarn::server {

void AnswerWriter::add(char type, std::string_view data) {
    if (data.empty() || data.size() > std::numeric_limits<uint32_t>::max()) {
        throw DamagedBlob("a record of the catalogue has no bytes, or more than 4 GiB; run tarn-server check");
    }
    static_assert(kvx::packet::kRecordLengthOffset == sizeof type);
    static_assert(kvx::packet::kRecordFrameBytes == sizeof type + sizeof(uint32_t));
    body_.push_back(type);
    appendLittleEndian(body_, static_cast<uint32_t>(data.size()));
    body_.append(data);
}

std::string AnswerWriter::take() {
    if (body_.empty()) add('N', std::string_view("\0", 1)); // its data are never read, but cannot be absent
    return std::exchange(body_, {});
}

} // namespace tarn::server
