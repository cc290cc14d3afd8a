// SPDX-License-Identifier: Apache-2.0
#include "matching/edits.h"

#include <vector>

namespace tarn::server {

namespace {

constexpr size_t kBits = 64;

// The matrix of edit distances between a query and a target that grows by one letter at a time, by Myers' algorithm: of
// the last column it keeps only whether each number is one more or one less than the number above it, a bit for each.
class Column {
  public:
    // letters: of the query, in either direction.
    template <class Iterator>
    Column(Iterator letters, size_t count)
        : words_((count + kBits - 1) / kBits), lastBit_((count - 1) % kBits), holds_(256 * words_),
          more_(words_, ~uint64_t{0}), less_(words_), distance_(count) {
        for (size_t i = 0; i < count; ++i, ++letters) {
            holds_[static_cast<unsigned char>(*letters) * words_ + i / kBits] |= uint64_t{1} << i % kBits;
        }
    }

    // Adds a letter of the target. atStart: the query must begin where the target does.
    void append(char letter, bool atStart) {
        const uint64_t* const holds = holds_.data() + static_cast<unsigned char>(letter) * words_;
        uint64_t carry = 0;
        uint64_t moreIn = atStart ? 1 : 0; // to the right, from the word before
        uint64_t lessIn = 0;
        uint64_t moreRight = 0;
        uint64_t lessRight = 0;
        for (size_t w = 0; w < words_; ++w) {
            const uint64_t same = holds[w];
            const uint64_t more = more_[w];
            const uint64_t less = less_[w];
            const uint64_t both = same & more;
            const uint64_t partly = both + more;
            const uint64_t sum = partly + carry;
            carry = static_cast<uint64_t>(partly < both) | static_cast<uint64_t>(sum < partly);
            const uint64_t diagonal = (sum ^ more) | same | less; // no more than the number above and left of it
            moreRight = less | ~(diagonal | more);
            lessRight = diagonal & more;
            const uint64_t moreShifted = moreRight << 1 | moreIn;
            const uint64_t lessShifted = lessRight << 1 | lessIn;
            moreIn = moreRight >> (kBits - 1);
            lessIn = lessRight >> (kBits - 1);
            more_[w] = lessShifted | ~(diagonal | moreShifted);
            less_[w] = moreShifted & diagonal;
        }
        distance_ += moreRight >> lastBit_ & 1;
        distance_ -= lessRight >> lastBit_ & 1;
    }

    // Between the whole query and the best stretch that ends with the last letter.
    size_t distance() const { return distance_; }

  private:
    size_t words_;
    size_t lastBit_;
    std::vector<uint64_t> holds_; // [letter][word]: where the query has that letter
    std::vector<uint64_t> more_;
    std::vector<uint64_t> less_;
    size_t distance_;
};

} // namespace

std::optional<Edits> editsWithin(std::string_view query, std::string_view target, Find find) {
    if (query.empty() || target.empty()) return std::nullopt;
    Edits edits;
    edits.count = query.size();
    Column column(query.begin(), query.size());
    for (size_t i = 0; i < target.size(); ++i) {
        column.append(target[i], false);
        if (column.distance() >= edits.count) continue;
        edits.count = column.distance();
        edits.last = i;
    }
    if (find == Find::kCount || edits.count == query.size()) return edits;
    Column backwards(query.rbegin(), query.size());
    for (size_t i = edits.last + 1; i-- > 0;) {
        backwards.append(target[i], true);
        if (backwards.distance() == edits.count) edits.begin = i;
    }
    return edits;
}

} // namespace tarn::server
