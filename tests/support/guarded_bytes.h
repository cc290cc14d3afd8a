// Bytes whose end is the end of a page, with an unreadable page behind them: a read one byte too far is a fault.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <new>
#include <span>
#include <sys/mman.h>
#include <unistd.h>

namespace kvxtest {

class GuardedBytes {
  public:
    explicit GuardedBytes(std::span<const uint8_t> bytes) : size_(bytes.size()) {
        const auto page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
        mapped_ = (size_ + page - 1) / page * page + page;
        void* base = mmap(nullptr, mapped_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (base == MAP_FAILED) throw std::bad_alloc();
        base_ = static_cast<uint8_t*>(base);
        if (mprotect(base_ + mapped_ - page, page, PROT_NONE) != 0) throw std::bad_alloc();
        begin_ = base_ + mapped_ - page - size_;
        if (size_ != 0) std::memcpy(begin_, bytes.data(), size_);
    }
    ~GuardedBytes() { munmap(base_, mapped_); }
    GuardedBytes(const GuardedBytes&) = delete;
    GuardedBytes& operator=(const GuardedBytes&) = delete;

    uint8_t* data() const { return begin_; }
    size_t size() const { return size_; }

  private:
    size_t size_;
    size_t mapped_ = 0;
    uint8_t* base_ = nullptr;
    uint8_t* begin_ = nullptr;
};

} // namespace kvxtest
