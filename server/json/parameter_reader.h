// SPDX-License-Identifier: Apache-2.0
// Reads the parameters of a query or of a media type. None may come twice, and none that is not known may come: a
// misspelt one would otherwise go unnoticed.
#pragma once

#include "json/bad_request.h"
#include "json/media_type.h"

#include <cstdint>
#include <initializer_list>
#include <optional>

namespace tarn::server {

class ParameterReader {
  public:
    // Throws BadJsonRequest, as do the others. parameters: must outlive this.
    ParameterReader(const Parameters& parameters, std::initializer_list<std::string_view> known);

    // Nothing: it did not come.
    const std::string* text(std::string_view name) const;
    std::optional<uint32_t> number(std::string_view name, uint32_t least, uint32_t most) const;

  private:
    const Parameters& parameters_;
};

} // namespace tarn::server
