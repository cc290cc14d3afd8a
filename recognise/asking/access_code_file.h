// SPDX-License-Identifier: Apache-2.0
// The file that holds the access code. A code on a command line would show in the list of processes.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace tarn::recognise {

// $XDG_CONFIG_HOME/tarn/access-code, else ~/.config/tarn/access-code.
std::filesystem::path usualCodeFile();

// The access code. Throws std::runtime_error where the file cannot be read, others than its owner may read or write
// it, or it holds anything else.
std::string readAccessCode(const std::filesystem::path& file);

// The code in a file's bytes: white space around it does not count. Throws std::runtime_error without the file's name.
std::string accessCodeIn(std::string_view bytes);

} // namespace tarn::recognise
