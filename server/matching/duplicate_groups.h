// SPDX-License-Identifier: Apache-2.0
// Pairs of recordings that are copies of each other, or of which one is a part of the other, made into groups.
#pragma once

#include <cstdint>
#include <map>
#include <vector>

namespace tarn::server {

struct Excerpt {
    uint32_t id = 0;
    uint32_t startMs = 0; // where it begins in the copies of its group

    bool operator==(const Excerpt&) const = default;
};

struct DuplicateGroup {
    std::vector<uint32_t> copies;  // rising; one or more, and more than one if there are no excerpts
    std::vector<Excerpt> excerpts; // by place, then by id

    bool operator==(const DuplicateGroup&) const = default;
};

class Relations {
  public:
    void addCopies(uint32_t a, uint32_t b);
    void addPart(uint32_t part, uint32_t whole, uint32_t startMs, uint32_t wholeMs);

    // Copies of copies are copies, and parts of parts are parts. A part of recordings that are no copies of each other
    // is in several groups, which it does not join. The groups come in the order of their lowest copy.
    std::vector<DuplicateGroup> groups();

  private:
    struct Part {
        uint32_t part = 0;
        uint32_t whole = 0;
        uint32_t startMs = 0;
    };
    // Copies of each other.
    struct Class {
        std::vector<uint32_t> ids;
        uint32_t longestMs = 0; // of those that have parts
        std::vector<Part> parts;
        bool isPart = false;
    };

    uint32_t classOf(uint32_t id);
    std::map<uint32_t, Class> classes();
    // That class with all that is a part of it.
    DuplicateGroup groupOf(uint32_t lowest, std::map<uint32_t, Class>& classes);

    std::map<uint32_t, uint32_t> sameAs_; // a lower copy of each, or itself
    std::map<uint32_t, uint32_t> lengthMs_;
    std::vector<Part> parts_;
};

} // namespace tarn::server
