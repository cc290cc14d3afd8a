// SPDX-License-Identifier: Apache-2.0
// What an LMDB file consists of, as version 1 of LMDB's data has it on machines of 64 bits.
#pragma once

#include <cstdint>

namespace tarn::server::lmdb {

struct PageHead {
    uint64_t number;
    uint16_t pad;
    uint16_t flags;
    uint16_t lower; // where the free space begins; of a large value's first page both are its number of pages
    uint16_t upper; // where it ends
};
struct Tree {
    uint32_t pad; // of the list of free pages: the size of a page
    uint16_t flags;
    uint16_t depth;
    uint64_t branchPages;
    uint64_t leafPages;
    uint64_t largePages;
    uint64_t entries;
    uint64_t root;
};
struct Head {
    uint32_t magic;
    uint32_t version;
    uint64_t address;
    uint64_t mapSize;
    Tree freePages;
    Tree content;
    uint64_t lastPage;
    uint64_t transaction;
};
struct NodeHead {
    uint16_t low; // size of the value, or number of the page below
    uint16_t high;
    uint16_t flags; // of a branch: more of the page's number
    uint16_t keySize;
};
static_assert(sizeof(PageHead) == 16 && sizeof(Tree) == 48 && sizeof(Head) == 136 && sizeof(NodeHead) == 8);

inline constexpr uint32_t kMagic = 0xbeefc0de;
inline constexpr uint32_t kVersion = 1;
inline constexpr uint16_t kBranch = 1;
inline constexpr uint16_t kLeaf = 2;
inline constexpr uint16_t kLarge = 4; // the first page of a large value
inline constexpr uint16_t kHeadPage = 8;
inline constexpr uint16_t kLargeValue = 1;
inline constexpr uint16_t kTreeFlags = 0xff; // others are the environment's
inline constexpr uint16_t kIntegerKeys = 8;
inline constexpr uint64_t kNoPage = ~uint64_t{0};
inline constexpr uint64_t kHeads = 2;
inline constexpr uint32_t kMinPageBytes = 512;
inline constexpr uint32_t kMaxPageBytes = 32768;
inline constexpr uint16_t kMaxDepth = 32;

} // namespace tarn::server::lmdb
