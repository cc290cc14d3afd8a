// SPDX-License-Identifier: Apache-2.0
// Files that only their owner may read.
#pragma once

#include <filesystem>
#include <stdexcept>
#include <string>

namespace tarn::server {

class FileDescriptor {
  public:
    explicit FileDescriptor(int descriptor = -1) : descriptor_(descriptor) {}
    ~FileDescriptor();
    FileDescriptor(FileDescriptor&& other) noexcept;
    FileDescriptor& operator=(FileDescriptor&& other) noexcept;
    FileDescriptor(const FileDescriptor&) = delete;
    FileDescriptor& operator=(const FileDescriptor&) = delete;

    int get() const { return descriptor_; }
    bool isOpen() const { return descriptor_ >= 0; }
    int release();

  private:
    int descriptor_;
};

// "FILE: WHAT: reason", the reason being errno's.
std::string errnoText(const std::filesystem::path& file, const std::string& what);

// All three throw std::runtime_error with such a text.
std::string readWhole(const FileDescriptor& descriptor, const std::filesystem::path& file);
void writeWhole(const FileDescriptor& descriptor, const std::string& bytes, const std::filesystem::path& file);
// Under another name first, synced, then renamed over the file, and the folder synced: at any moment the file is the
// old one or the new one. Mode 0600; a file made by root belongs to the owner of its folder.
void replacePrivateFile(const std::filesystem::path& file, const std::string& bytes);
// Root hands what it made to the owner of the folder.
void giveToFolderOwner(const FileDescriptor& descriptor, const std::filesystem::path& file);

} // namespace tarn::server
