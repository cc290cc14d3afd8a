// SPDX-License-Identifier: Apache-2.0
// Recordings of a main database that do not count any more: removed, or replaced by one of another id. A main database
// has no term lists, which would be more than a third of it, and so no recording can be taken out of it; it is written
// anew without them now and then.
//
// As bytes: the ids in rising order, each as the difference from the one before (varint).
#pragma once

#include <xapian.h>

#include <set>
#include <string>

namespace tarn::server {

inline constexpr char kHiddenIds[] = "hidden"; // key of the metadata of both databases

using HiddenIds = std::set<Xapian::docid>;

std::string packHiddenIds(const HiddenIds& ids);
// Adds the ids to those that are there. Throws Xapian::DatabaseCorruptError when the bytes are no ids.
void takeHiddenIds(const std::string& bytes, HiddenIds& ids);

// What main says and what was written down since in recent.
HiddenIds hiddenIdsOf(const Xapian::Database& main, const Xapian::Database& recent);

} // namespace tarn::server
