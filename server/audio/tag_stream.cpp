// SPDX-License-Identifier: Apache-2.0
#include "audio/tag_stream.h"

#include "audio/audio_error.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <sys/stat.h>
#include <unistd.h>

namespace tarn::server {

namespace {

AudioError unreadable(int error) { return AudioError(std::string("its tags cannot be read: ") + std::strerror(error)); }

} // namespace

TagStream::TagStream(int file, const std::string& name) : name_(name), file_(file) {
    struct stat about {};
    if (::fstat(file_, &about) != 0) throw unreadable(errno);
    length_ = about.st_size;
}

void TagStream::expectGood() const {
    if (error_ != 0) throw unreadable(error_);
}

TagLib::ByteVector TagStream::readBlock(unsigned long length) {
    // The length comes from the file and may be anything.
    const auto rest = static_cast<unsigned long>(std::max(0L, length_ - place_));
    TagLib::ByteVector block(static_cast<unsigned>(std::min({length, rest, 1UL << 31})), 0);
    unsigned filled = 0;
    while (filled < block.size()) {
        const ssize_t count = ::pread(file_, block.data() + filled, block.size() - filled, place_);
        if (count < 0 && errno == EINTR) continue;
        if (count < 0 && error_ == 0) error_ = errno;
        if (count <= 0) break;
        filled += static_cast<unsigned>(count);
        place_ += count;
    }
    block.resize(filled);
    return block;
}

void TagStream::seek(long offset, Position from) {
    const long base = from == Beginning ? 0 : from == Current ? place_ : length_;
    long place = 0;
    if (__builtin_add_overflow(base, offset, &place)) return;
    place_ = std::max(0L, place);
}

void TagStream::writeBlock(const TagLib::ByteVector& /*data*/) {}
void TagStream::insert(const TagLib::ByteVector& /*data*/, unsigned long /*start*/, unsigned long /*replace*/) {}
void TagStream::removeBlock(unsigned long /*start*/, unsigned long /*length*/) {}
void TagStream::truncate(long /*length*/) {}

} // namespace tarn::server
