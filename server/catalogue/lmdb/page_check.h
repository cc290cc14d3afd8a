// SPDX-License-Identifier: Apache-2.0
// A look at the pages of an LMDB file without LMDB, which trusts them: a wrong byte in a page of its tree can end the
// process that follows it. Reads the pages of the tree, not those of large values.
#pragma once

#include <cstddef>
#include <filesystem>
#include <string>

namespace tarn::server::lmdb {

// What is wrong with the two heads of the file, of which LMDB takes the later; empty: nothing.
std::string headProblem(const std::filesystem::path& file);
// What is wrong with the tree and the list of free pages as of a transaction; empty: nothing. A transaction that two
// later ones have followed looks damaged.
std::string structureProblem(const std::filesystem::path& file, size_t transaction);

} // namespace tarn::server::lmdb
