// SPDX-License-Identifier: Apache-2.0
// What the files are made of that a case needs before it starts.
#pragma once

#include "cases/words.h"

#include <filesystem>

namespace kvxtest {

// Makes the file or folder at the path. words: the recipe's name and its settings.
//
//   sound [channels=1] [rate=22050] [ms=8900] [bits=16] [riff=SIZE]    a WAV file, whose header may lie
//   music [pieces=3]                                                   a folder of short tagged pieces
//   piece number=1 [seconds=4]                                         a WAV file of one piece, without tags
//   catalogue [recordings=3]                                           recordings of random letters
//   accounts                                                           the file with the account of $KEY
void make(const std::filesystem::path& path, const Words& words);

} // namespace kvxtest
