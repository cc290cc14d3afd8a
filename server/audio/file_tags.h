// SPDX-License-Identifier: Apache-2.0
// What a file says about its recording.
#pragma once

#include "model/recording.h"

#include <filesystem>

namespace tarn::server {

// Without a title tag, the title is the file's name without its extension. Everything else stays empty without its tag.
// Missing or damaged tags are no error; a file that cannot be read is an AudioError. The tag library has no bound on
// the memory that a file can make it take: see TagProcess.
Tags readTags(const std::filesystem::path& path);

} // namespace tarn::server
