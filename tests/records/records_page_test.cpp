// SPDX-License-Identifier: Apache-2.0
// docs/formats/records.md against the record tables: each field's member, kind and notes.
//
// The page has two forms of tables. In one a record has columns for its members, their kinds and a note; in the other
// several records stand side by side, with "member, kind" in each cell. An index or a member may be a range.
#include "records/all_records.h"

#include <algorithm>
#include <cstring>
#include <fstream>
#include <gtest/gtest.h>
#include <map>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

namespace kvxtest {
namespace {

struct Field {
    std::string member;
    std::string kind; // "text", "short", "int", "text []", "Track []", "Album, nested"
    std::string note;
};

using Cells = std::vector<std::string>;

std::string trimmed(std::string_view text) {
    const size_t first = text.find_first_not_of(" *");
    if (first == std::string_view::npos) return {};
    return std::string(text.substr(first, text.find_last_not_of(" *") - first + 1));
}

// Parts of a text between a separator's occurrences.
Cells split(const std::string& text, const std::string& separator) {
    Cells parts;
    size_t start = 0;
    for (size_t at = 0; (at = text.find(separator, start)) != std::string::npos; start = at + separator.size())
        parts.push_back(trimmed(text.substr(start, at - start)));
    parts.push_back(trimmed(text.substr(start)));
    return parts;
}

Cells cellsOf(const std::string& line) {
    Cells cells = split(line, "|");
    cells.erase(cells.begin()); // in front of the first bar and after the last there is nothing
    if (!cells.empty()) cells.pop_back();
    return cells;
}

// A number at the end of a name: "text7" is "text" and 7.
std::pair<std::string, size_t> stemOf(const std::string& name) {
    const size_t digits = name.find_last_not_of("0123456789") + 1;
    return {name.substr(0, digits), std::stoul(name.substr(digits))};
}

// "text7 - text11" and "text2, text3" written out; 3 and "3 - 8" as well.
Cells members(const std::string& text) {
    const Cells ends = split(text, " - ");
    if (ends.size() != 2) return split(text, ", ");
    const auto [stem, first] = stemOf(ends[0]);
    Cells all;
    for (size_t number = first; number <= stemOf(ends[1]).second; ++number)
        all.push_back(stem + std::to_string(number));
    return all;
}

class Page {
  public:
    explicit Page(std::istream& in) {
        Cells header;
        for (std::string line; std::getline(in, line);) {
            if (line.empty() || line[0] != '|') {
                header.clear();
            } else if (header.empty()) {
                header = cellsOf(line);
            } else if (line[1] != '-') {
                addRow(header, cellsOf(line));
            }
        }
    }

    const std::map<std::string, std::vector<Field>>& fields() const { return fields_; }
    const std::map<std::string, Cells>& counts() const { return counts_; }

  private:
    void addRow(const Cells& header, const Cells& row) {
        ASSERT_EQ(row.size(), header.size());
        if (header[0] == "Record") counts_[row[0]] = row;
        if (header[0] != "Index") return;
        const Cells indexes = members(row[0]);
        if (header.size() > 2 && header[2] == "Kind") {
            add(header[1], indexes, {row[1], row[2], row.size() > 3 ? row[3] : ""});
            return;
        }
        for (size_t column = 1; column < row.size(); ++column) {
            if (row[column].empty()) continue;
            const size_t comma = row[column].find(',');
            ASSERT_NE(comma, std::string::npos) << row[column];
            add(header[column], indexes,
                {trimmed(row[column].substr(0, comma)), trimmed(row[column].substr(comma + 1)), ""});
        }
    }

    void add(const std::string& record, const Cells& indexes, const Field& cells) {
        const Cells names = members(cells.member);
        ASSERT_EQ(names.size(), indexes.size()) << record << ": " << cells.member;
        for (size_t i = 0; i < names.size(); ++i) {
            EXPECT_EQ(std::to_string(fields_[record].size()), indexes[i]) << record;
            fields_[record].push_back({names[i], cells.kind, cells.note});
        }
    }

    std::map<std::string, std::vector<Field>> fields_;
    std::map<std::string, Cells> counts_;
};

const Page& page() {
    static const Page read = [] {
        std::ifstream in(TARN_FORMATS "/records.md");
        EXPECT_TRUE(in) << TARN_FORMATS;
        return Page(in);
    }();
    return read;
}

std::string withoutComments(std::string text) {
    for (size_t start = 0; (start = text.find("/*", start)) != std::string::npos;)
        text.erase(start, text.find("*/", start) + 2 - start);
    return text;
}

// The members of a struct by the name that kvx.h gives them: offset to name. The declaration is read as text, so that
// the names come from nowhere but there.
std::map<size_t, std::string> membersByOffset(const std::string& record) {
    std::ifstream in(TARN_PUBLIC_HEADER);
    std::stringstream text;
    text << in.rdbuf();
    const std::string header = withoutComments(text.str());
    const std::string opening = "typedef struct " + record + " {";
    const size_t found = header.find(opening);
    EXPECT_NE(found, std::string::npos) << opening;
    if (found == std::string::npos) return {};
    const size_t start = found + opening.size();
    std::map<size_t, std::string> names;
    size_t offset = 0;
    std::istringstream body(header.substr(start, header.find('}', start) - start));
    for (std::string line; std::getline(body, line, ';');) {
        const size_t end = line.find_last_not_of(" \n");
        if (end == std::string::npos) break; // after the last member
        const size_t name = line.find_last_of(" *", end) + 1;
        const bool isPointer = line.find('*') != std::string::npos;
        const bool isShort = line.find("uint16_t") != std::string::npos;
        EXPECT_TRUE(isPointer || isShort || line.find("uint32_t") != std::string::npos) << line;
        const size_t size = isPointer ? sizeof(void*) : isShort ? 2 : 4;
        offset = (offset + size - 1) / size * size;
        names[offset] = line.substr(name, end + 1 - name);
        offset += size;
    }
    return names;
}

// Where a row's member lies: the first byte that setting it to all ones changes.
size_t offsetOf(const kvx::RecordTable& table, const kvx::FieldRow& row) {
    std::vector<uint64_t> record(table.recordBytes / sizeof(uint64_t) + 1);
    if (row.setPointer != nullptr) {
        row.setPointer(record.data(), reinterpret_cast<void*>(~uintptr_t{0})); // NOLINT(performance-no-int-to-ptr)
    } else if (row.setInt != nullptr) {
        row.setInt(record.data(), ~uint32_t{0});
    } else {
        row.setNumber(record.data(), 0xffff);
    }
    const auto* bytes = reinterpret_cast<const uint8_t*>(record.data());
    return static_cast<size_t>(std::find(bytes, bytes + table.recordBytes, 0xff) - bytes);
}

std::string kindOf(const kvx::FieldRow& row) {
    switch (row.kind) {
    case kvx::FieldKind::kText:
        return "text";
    case kvx::FieldKind::kShort:
        return "short";
    case kvx::FieldKind::kInt:
        return "int";
    case kvx::FieldKind::kTexts:
        return "text []";
    case kvx::FieldKind::kRecords:
        return std::string(row.element->name) + " []";
    case kvx::FieldKind::kNested:
        return std::string(row.element->name) + ", nested";
    }
    return "";
}

TEST(RecordsPage, HasTheRowsOfEveryTable) {
    EXPECT_EQ(page().fields().size(), std::size(kvx::kAllRecords));
    for (const kvx::RecordTable* table : kvx::kAllRecords) {
        SCOPED_TRACE(table->name);
        ASSERT_TRUE(page().fields().contains(table->name)) << "docs/formats/records.md has no table of this record";
        const std::vector<Field>& fields = page().fields().at(table->name);
        ASSERT_EQ(fields.size(), table->rows.size());
        const std::map<size_t, std::string> names = membersByOffset(table->name);
        for (size_t i = 0; i < fields.size(); ++i) {
            const kvx::FieldRow& row = table->rows[i];
            const auto name = names.find(offsetOf(*table, row));
            ASSERT_NE(name, names.end()) << i;
            EXPECT_EQ(fields[i].member, name->second) << i;
            EXPECT_EQ(fields[i].kind, kindOf(row)) << fields[i].member;
        }
    }
}

TEST(RecordsPage, NotesWhatIsNotWrittenReadOrFreedAlike) {
    size_t notes = 0;
    for (const kvx::RecordTable* table : kvx::kAllRecords) {
        const std::vector<Field>& fields = page().fields().at(table->name);
        for (size_t i = 0; i < fields.size() && i < table->rows.size(); ++i) {
            const kvx::FieldRow& row = table->rows[i];
            const std::string& note = fields[i].note;
            SCOPED_TRACE(std::string(table->name) + ", " + fields[i].member + ": " + note);
            EXPECT_EQ(note.find("written empty") != std::string::npos, row.isLoadOnly);
            EXPECT_EQ(note.find("a failure inside it is ignored") != std::string::npos, row.isFailureIgnored);
            EXPECT_EQ(note.find("freeing the track leaves it") != std::string::npos, row.isKeptOnFree);
            notes += row.isLoadOnly ? 1 : 0;
        }
    }
    EXPECT_EQ(notes, 5U);
}

TEST(RecordsPage, HasTheLeastFieldsOfTheAllocatingLoaders) {
    size_t strict = 0;
    for (const kvx::RecordTable* table : kvx::kAllRecords) {
        if (table->traits.leastFields == 0) continue;
        SCOPED_TRACE(table->name);
        ++strict;
        ASSERT_TRUE(page().counts().contains(table->name));
        const Cells& counts = page().counts().at(table->name);
        EXPECT_EQ(counts.at(1), std::to_string(table->traits.leastFields));
        EXPECT_EQ(counts.at(2), std::to_string(table->rows.size()));
    }
    EXPECT_EQ(page().counts().size(), strict);
}

} // namespace
} // namespace kvxtest
