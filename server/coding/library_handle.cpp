// SPDX-License-Identifier: Apache-2.0
#include "coding/library_handle.h"

#include "model/access_code.h"

#include <array>
#include <cstdint>
#include <new>
#include <string>

namespace tarn::server {

LibraryHandle makeLibraryHandle() {
    const std::string accessCode = makeAccessCode(0, 1, 2, std::string(kAccountKeyBytes, '\0'));
    const std::array<uint8_t, KVX_ID_LENGTH> device{};
    KVXHandle* handle = nullptr;
    if (KVXInit(&handle, accessCode.c_str(), device.data(), KVX_ID_LENGTH, nullptr, 0, 'B', 'B', 'S', nullptr, 0) !=
        0) {
        throw std::bad_alloc();
    }
    return LibraryHandle(handle);
}

} // namespace tarn::server
