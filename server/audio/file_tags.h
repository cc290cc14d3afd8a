// SPDX-License-Identifier: Apache-2.0
// What a file says about its recording.
#pragma once

#include "model/recording.h"

#include <filesystem>

namespace tarn::server {

// Title: the file's name without its extension where no tag gives one. Everything else stays empty where no tag does.
// A file without tags, or with damaged ones, is no error; one that cannot be read is an AudioError. The tag library
// takes whatever memory a file makes it take: see TagProcess.
Tags readTags(const std::filesystem::path& path);

} // namespace tarn::server
