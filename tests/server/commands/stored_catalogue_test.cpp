// SPDX-License-Identifier: Apache-2.0
// A catalogue that an earlier version of the server wrote, tests/data/catalogue_4, goes on being one. Whoever changes
// the format adds a conversion, and a catalogue of the new format beside this one.
#include "commands/catalogue.h"
#include "commands/transfer.h"
#include "support/temporary_directory.h"

#include <gmock/gmock.h>

#include <fstream>
#include <iterator>
#include <sstream>

namespace {

namespace fs = std::filesystem;
using namespace tarn::server;
using kvxtest::TemporaryDirectory;

const fs::path kStored = fs::path(TARN_TEST_DATA) / "catalogue_4";

std::string contents(const fs::path& file) {
    std::ifstream in(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

class StoredCatalogue : public testing::Test {
  protected:
    StoredCatalogue() {
        fs::create_directory(catalogue_);
        fs::copy_file(kStored / "catalogue.mdb", fs::path(catalogue_) / "catalogue.mdb");
    }
    std::string exported() {
        std::ostringstream out;
        EXPECT_EQ(runExport(catalogue_, out, err_), 0) << err_.str();
        return out.str();
    }
    int import(const std::string& lines) {
        std::istringstream in(lines);
        return runImport(catalogue_, "-", in, out_, err_);
    }

    TemporaryDirectory folder_;
    std::string catalogue_ = (folder_ / "catalogue").string();
    std::ostringstream out_;
    std::ostringstream err_;
};

} // namespace

TEST_F(StoredCatalogue, HoldsItsRecordings) {
    EXPECT_EQ(exported(), contents(kStored / "recordings.ndjson"));
    EXPECT_EQ(runCheck(catalogue_, true, out_, err_), 0) << err_.str();
}

TEST_F(StoredCatalogue, Grows) {
    std::string third = contents(kStored / "recordings.ndjson");
    third.resize(third.find('\n') + 1);
    const size_t hash = third.find("0001\"");
    ASSERT_NE(hash, std::string::npos);
    third[hash] = '9'; // of a recording of its own
    EXPECT_EQ(import(third), 0) << err_.str();
    EXPECT_EQ(exported(), contents(kStored / "recordings.ndjson") + third);
    EXPECT_EQ(runCompact(catalogue_, {.anew = true}, out_, err_), 0) << err_.str();
    EXPECT_EQ(runCheck(catalogue_, true, out_, err_), 0) << err_.str();
    EXPECT_EQ(exported(), contents(kStored / "recordings.ndjson") + third);
}
