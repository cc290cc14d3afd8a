// SPDX-License-Identifier: Apache-2.0
// The stream through which the tag library reads a file. The library treats a file that it cannot read as one without
// tags; this stream knows the difference.
#pragma once

#include "base/file_descriptor.h"

#include <taglib/tiostream.h>

#include <filesystem>
#include <string>

namespace tarn::server {

class TagStream final : public TagLib::IOStream {
  public:
    // Throws AudioError if the file cannot be opened.
    explicit TagStream(const std::filesystem::path& path);

    // Throws AudioError if a read has failed.
    void expectGood() const;

    TagLib::FileName name() const override { return path_.c_str(); }
    TagLib::ByteVector readBlock(unsigned long length) override;
    bool readOnly() const override { return true; }
    bool isOpen() const override { return true; }
    void seek(long offset, Position from) override;
    long tell() const override { return place_; }
    long length() override { return length_; }
    // Nothing is ever written.
    void writeBlock(const TagLib::ByteVector& data) override;
    void insert(const TagLib::ByteVector& data, unsigned long start, unsigned long replace) override;
    void removeBlock(unsigned long start, unsigned long length) override;
    void truncate(long length) override;

  private:
    std::string path_;
    FileDescriptor file_;
    long length_ = 0;
    long place_ = 0;
    int error_ = 0; // of the first read that failed
};

} // namespace tarn::server
