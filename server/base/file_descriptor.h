// SPDX-License-Identifier: Apache-2.0
// A file descriptor that closes itself, and whole reads and writes.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>

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

// 0, or the errno of the failure. Waits where the descriptor does not block and its reader is slow.
int writeAll(int descriptor, std::string_view bytes);

// Both throw std::runtime_error with an errnoText().
std::string readWhole(const FileDescriptor& descriptor, const std::filesystem::path& file);
void writeWhole(const FileDescriptor& descriptor, std::string_view bytes, const std::filesystem::path& file);

} // namespace tarn::server
