// SPDX-License-Identifier: Apache-2.0
// A look at the pages of an LMDB file without LMDB, which trusts them: a wrong byte in a page of its tree can end the
// process that follows it. Reads the pages of the tree, and of large values only where they begin.
#pragma once

#include "catalogue/lmdb/page.h"

#include <filesystem>
#include <functional>
#include <string>

namespace tarn::server::lmdb {

// What is wrong with the two heads of the file, of which LMDB takes the later; empty: nothing.
std::string headProblem(const std::filesystem::path& file);
// What is wrong with the tree and the list of free pages as of a transaction; empty: nothing. A transaction that two
// later ones have followed looks damaged.
std::string structureProblem(const std::filesystem::path& file, uint64_t transaction);

// Is shown every leaf with the range of its keys, in their order; says whether to check it.
using ChooseLeaf = std::function<bool(uint64_t number, const KeyRange& range)>;
// Checks both trees, but for what lies in leaves that are not chosen. False: large values lie in some of them, so not
// all pages are accounted for. Throws Wrong.
bool checkTrees(const PageFile& file, const Head& head, const ChooseLeaf& choose);
// Of a leaf of the content. Throws Wrong.
void expectRightKeys(const PageFile& file, const Page& leaf, uint64_t pageBytes);

std::string problemText(const std::filesystem::path& path, const Wrong& wrong);
// Does `look`, again where a writer who commits meanwhile shows the pages of two ages; what it throws as Wrong, as a
// message, or nothing.
std::string problemIn(const std::filesystem::path& path, const std::function<void(const PageFile&)>& look);

} // namespace tarn::server::lmdb
