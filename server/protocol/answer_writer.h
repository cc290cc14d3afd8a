// SPDX-License-Identifier: Apache-2.0
// An answer's body: records one after another, each its type, the length of its data, the data.
#pragma once

#include "protocol/record_filter.h"

#include <string>
#include <string_view>

namespace tarn::server {

class AnswerWriter {
  public:
    // A record without data would make the whole answer invalid: DamagedBlob.
    void add(char type, std::string_view data);
    bool empty() const { return body_.empty(); }
    // The records; one "nothing found" where there are none.
    std::string take();

  private:
    std::string body_;
};

} // namespace tarn::server
