// SPDX-License-Identifier: Apache-2.0
// The engine for one machine: a folder with one file, which readers and one writer share, in any processes.
#pragma once

#include "catalogue/store.h"

#include <filesystem>

namespace tarn::server::lmdb {

std::unique_ptr<StoreReader> openReader(const std::filesystem::path& folder);
std::unique_ptr<StoreWriter> openWriter(const std::filesystem::path& folder, bool make);
// The time of the file; nothing: there is none.
std::optional<int64_t> lastWritten(const std::filesystem::path& folder);

} // namespace tarn::server::lmdb
