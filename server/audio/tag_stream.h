// SPDX-License-Identifier: Apache-2.0
// The stream through which the tag library reads a file. The library treats a file that it cannot read as one without
// tags; this stream knows the difference.
#pragma once

#include <taglib/tiostream.h>

#include <string>

namespace tarn::server {

class TagStream final : public TagLib::IOStream {
  public:
    // The descriptor stays the caller's. Throws AudioError if it is of no file.
    TagStream(int file, const std::string& name);

    // Throws AudioError if a read has failed.
    void expectGood() const;

    TagLib::FileName name() const override { return name_.c_str(); }
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
    std::string name_;
    int file_;
    long length_ = 0;
    long place_ = 0;
    int error_ = 0; // of the first read that failed
};

} // namespace tarn::server
