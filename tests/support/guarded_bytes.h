// SPDX-License-Identifier: Apache-2.0
// Bytes whose end is the end of a page, with an unreadable page after them: a read one byte too far is a fault.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <new>
#include <sanitizer/asan_interface.h>
#include <span>
#include <sys/mman.h>
#include <unistd.h>
#include <utility>

namespace kvxtest {

// Pages that can be read and written, and after them one that cannot.
class GuardedPages {
  public:
    GuardedPages() = default;
    explicit GuardedPages(size_t bytes) : bytes_(bytes) {
        void* base = mmap(nullptr, bytes_ + pageBytes(), PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (base == MAP_FAILED) throw std::bad_alloc();
        base_ = static_cast<uint8_t*>(base);
        if (mprotect(end(), pageBytes(), PROT_NONE) != 0) throw std::bad_alloc();
    }
    ~GuardedPages() {
        if (base_ == nullptr) return;
        ASAN_UNPOISON_MEMORY_REGION(base_, bytes_);
        munmap(base_, bytes_ + pageBytes());
    }
    GuardedPages(GuardedPages&& other) noexcept : base_(std::exchange(other.base_, nullptr)), bytes_(other.bytes_) {}
    GuardedPages& operator=(GuardedPages&& other) noexcept {
        std::swap(base_, other.base_);
        std::swap(bytes_, other.bytes_);
        return *this;
    }

    size_t size() const { return base_ == nullptr ? 0 : bytes_; }
    uint8_t* begin() const { return base_; }
    uint8_t* end() const { return base_ + bytes_; }

    static size_t pageBytes() {
        static const auto bytes = static_cast<size_t>(sysconf(_SC_PAGESIZE));
        return bytes;
    }

  private:
    uint8_t* base_ = nullptr;
    size_t bytes_ = 0;
};

class GuardedBytes {
  public:
    explicit GuardedBytes(std::span<const uint8_t> bytes) : size_(bytes.size()) {
        const size_t needed =
            (size_ + GuardedPages::pageBytes() - 1) / GuardedPages::pageBytes() * GuardedPages::pageBytes();
        if (spare_.size() != 0 && spare_.size() >= needed) {
            pages_ = std::move(spare_);
            ASAN_UNPOISON_MEMORY_REGION(pages_.begin(), pages_.size());
        } else {
            pages_ = GuardedPages(needed);
        }
        if (size_ != 0) std::memcpy(data(), bytes.data(), size_);
    }
    // The pages are kept for the next bytes: mapping and unmapping them would be most of what a short test costs. Until
    // then the sanitizer takes every use of them for the fault that it is.
    ~GuardedBytes() {
        if (pages_.size() <= spare_.size()) return;
        spare_ = std::move(pages_);
        ASAN_POISON_MEMORY_REGION(spare_.begin(), spare_.size());
    }
    GuardedBytes(const GuardedBytes&) = delete;
    GuardedBytes& operator=(const GuardedBytes&) = delete;

    uint8_t* data() const { return pages_.end() - size_; }
    size_t size() const { return size_; }

  private:
    static inline thread_local GuardedPages spare_;

    size_t size_;
    GuardedPages pages_;
};

} // namespace kvxtest
