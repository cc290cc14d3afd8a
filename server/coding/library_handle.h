// SPDX-License-Identifier: Apache-2.0
// A library handle for work that never leaves this process.
#pragma once

#include "kvx.h"

#include <memory>

namespace tarn::server {

struct HandleShutdown {
    void operator()(KVXHandle* handle) const { KVXShutdown(&handle); }
};
using LibraryHandle = std::unique_ptr<KVXHandle, HandleShutdown>;

// A handle needs an access code and, for requests, a device identity. Here they are dummies: account 0, no encryption,
// a byte sum, a key and an identity of zeros. Throws std::bad_alloc.
LibraryHandle makeLibraryHandle();

} // namespace tarn::server
