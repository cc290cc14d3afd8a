// SPDX-License-Identifier: Apache-2.0
// Zero-terminated texts.
#include "kvx.h"

#include <cstring>

extern "C" uint32_t safe_strlen(const char* text) noexcept {
    return text == nullptr ? 0 : static_cast<uint32_t>(std::strlen(text));
}
