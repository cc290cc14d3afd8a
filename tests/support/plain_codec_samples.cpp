// SPDX-License-Identifier: Apache-2.0
// Records of random values, and what two records differ in.
#include "support/plain_codec.h"

#include <algorithm>
#include <utility>

namespace kvxtest::plain {

namespace {

class RandomFields final : public FieldVisitor {
  public:
    RandomFields(std::mt19937& random, size_t& valuesLeft) : random_(random), valuesLeft_(valuesLeft) {}

    static Record make(const RecordType& type, std::mt19937& random, size_t& valuesLeft) {
        RandomFields fields(random, valuesLeft);
        type.fields(fields);
        valuesLeft -= std::min(valuesLeft, fields.values_.size());
        return {&type, std::move(fields.values_)};
    }

    using FieldVisitor::texts;
    void text() override { values_.emplace_back(randomText()); }
    void keptText() override { text(); }
    void number16() override { values_.emplace_back(static_cast<uint16_t>(random_())); }
    void exactNumber16() override { number16(); }
    void number32() override { values_.emplace_back(static_cast<uint32_t>(random_())); }
    void texts() override {
        std::vector<std::string> texts(count(1));
        for (std::string& text : texts) text = randomText();
        values_.emplace_back(std::move(texts));
    }
    void list(const RecordType& element) override {
        List list;
        for (size_t left = count(12); left != 0; --left) {
            list.elements.push_back(make(element, random_, valuesLeft_));
        }
        values_.emplace_back(std::move(list));
    }
    void part(const RecordType& type, Unreadable /*rule*/) override {
        Part part;
        if (below(3) != 0 && valuesLeft_ != 0) part.record.push_back(make(type, random_, valuesLeft_));
        values_.emplace_back(std::move(part));
    }
    void exactCount(size_t /*count*/) override {}

  private:
    size_t below(size_t limit) { return random_() % limit; }

    std::string randomText() {
        size_t length = 0;
        if (below(3) != 0) length = below(24);
        if (below(300) == 0) length = below(70000); // beyond what 16 bits count
        std::string text(length, '\0');
        for (char& c : text) c = static_cast<char>(random_());
        return text;
    }
    // Elements of an array: often none, at times as many as there can be.
    size_t count(size_t valuesOfEach) {
        static constexpr size_t kCounts[] = {0, 0, 1, 1, 2, 3, 7, 254, 255};
        const size_t count = kCounts[below(std::size(kCounts))];
        if (count * valuesOfEach > valuesLeft_) return 0;
        valuesLeft_ -= count; // so that the lists of the elements are not all as long
        return count;
    }

    std::mt19937& random_;
    size_t& valuesLeft_;
    std::vector<Value> values_;
};

std::string shown(const std::string& text) {
    return std::to_string(text.size()) + " bytes \"" + text.substr(0, 40) + "\"";
}

struct Differ {
    std::string operator()(const std::string& a, const std::string& b) const {
        return a == b ? "" : ": " + shown(a) + ", " + shown(b);
    }
    template <class Number>
    std::string operator()(Number a, Number b) const {
        return a == b ? "" : ": " + std::to_string(a) + ", " + std::to_string(b);
    }
    std::string operator()(const std::vector<std::string>& a, const std::vector<std::string>& b) const {
        return ofAll(a, b, *this);
    }
    std::string operator()(const List& a, const List& b) const { return ofAll(a.elements, b.elements, difference); }
    std::string operator()(const Part& a, const Part& b) const { return ofAll(a.record, b.record, difference); }
    template <class A, class B>
    std::string operator()(const A&, const B&) const {
        return ": values of different kinds";
    }

  private:
    template <class Elements, class Compare>
    static std::string ofAll(const Elements& a, const Elements& b, Compare compare) {
        if (a.size() != b.size()) return ": " + std::to_string(a.size()) + " or " + std::to_string(b.size());
        for (size_t i = 0; i < a.size(); ++i) {
            const std::string found = compare(a[i], b[i]);
            if (!found.empty()) return "[" + std::to_string(i) + "]" + found;
        }
        return "";
    }
};

} // namespace

Record randomRecord(const RecordType& type, std::mt19937& random, size_t valueLimit) {
    return RandomFields::make(type, random, valueLimit);
}

std::string difference(const Record& a, const Record& b) {
    if (a.type != b.type) return std::string(": ") + a.type->name + ", " + b.type->name;
    if (a.fields.size() != b.fields.size()) return ": numbers of fields";
    for (size_t i = 0; i < a.fields.size(); ++i) {
        const std::string found = std::visit(Differ{}, a.fields[i], b.fields[i]);
        if (!found.empty()) return "." + std::to_string(i) + found;
    }
    return "";
}

} // namespace kvxtest::plain
