// SPDX-License-Identifier: Apache-2.0
#include "base/descriptor_stream.h"

#include "base/file_descriptor.h"

namespace tarn::server {

DescriptorStream::Buffer::Buffer(int descriptor) : descriptor_(descriptor) {
    setp(bytes_.data(), bytes_.data() + bytes_.size());
}

int DescriptorStream::Buffer::sync() {
    if (failure_ == 0) failure_ = writeAll(descriptor_, {pbase(), static_cast<size_t>(pptr() - pbase())});
    setp(bytes_.data(), bytes_.data() + bytes_.size());
    return failure_ == 0 ? 0 : -1;
}

DescriptorStream::Buffer::int_type DescriptorStream::Buffer::overflow(int_type c) {
    if (sync() != 0) return traits_type::eof();
    if (!traits_type::eq_int_type(c, traits_type::eof())) {
        *pptr() = traits_type::to_char_type(c);
        pbump(1);
    }
    return traits_type::not_eof(c);
}

} // namespace tarn::server
