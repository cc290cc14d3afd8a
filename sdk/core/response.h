// SPDX-License-Identifier: Apache-2.0
// Finding records in the answer that the handle holds.
#pragma once

#include "core/handle.h"

namespace kvx {

// Makes a cursor on record index (from 1). -1 null handle, -3 no device identity, -4 no such record, -5 a record of
// another type.
int32_t locateRecord(KVXHandle* handle, int32_t index, char type, KVXBlob* blob);

} // namespace kvx
