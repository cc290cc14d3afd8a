// SPDX-License-Identifier: Apache-2.0
// Files that only their owner may read.
#pragma once

#include "base/file_descriptor.h"

#include <filesystem>
#include <string>

namespace tarn::server {

// Both throw std::runtime_error with an errnoText().
// Writes under another name, syncs, renames over the file, and syncs the folder: at any moment the file is the old one
// or the new one. Mode 0600; a file made by root belongs to the owner of its folder.
void replacePrivateFile(const std::filesystem::path& file, const std::string& bytes);
// If this is root, gives the file to the owner of its folder.
void giveToFolderOwner(const FileDescriptor& descriptor, const std::filesystem::path& file);

} // namespace tarn::server
