// SPDX-License-Identifier: Apache-2.0
// What a file says about its recording.
#pragma once

#include "model/recording.h"

#include <string>

namespace tarn::server {

// name: the file's, by whose extension the tag library knows the format. Everything stays empty without its tag.
// Missing or damaged tags are no error; a file that cannot be read is an AudioError. The tag library has no bound on
// the memory that a file can make it take: see MediaProcess. The descriptor stays the caller's.
Tags readTags(int file, const std::string& name);

} // namespace tarn::server
