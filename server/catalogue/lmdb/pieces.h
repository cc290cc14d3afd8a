// SPDX-License-Identifier: Apache-2.0
// A value of the catalogue as entries of the file. An entry of more than half a page takes pages of its own, half of
// which would be empty: a longer value is cut into pieces of which several fill a page.
//
// Keys: "v", the value's key, the piece's number (1 byte). Each piece is sealed. One that is not exactly full is the
// last; a very long value is one piece that is more than full.
#pragma once

#include "catalogue/lmdb/transaction.h"
#include "catalogue/store.h"

#include <deque>

namespace tarn::server::lmdb {

void putValue(Transaction& writing, std::string_view key, std::string_view value);
void eraseValue(Transaction& writing, std::string_view key);
// Of a value in several pieces, the bytes are put together in `joined`.
StoredValue getValue(const Transaction& reading, std::string_view key, std::deque<std::string>& joined);

} // namespace tarn::server::lmdb
