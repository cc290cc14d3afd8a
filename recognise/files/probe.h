// SPDX-License-Identifier: Apache-2.0
// Recognises one file by short pieces of it: the place where a client starts, and others where that one is silent or
// says too little. Nothing else of the file is decoded.
#pragma once

#include "audio/media_process.h"
#include "recognise/model/asker.h"
#include "recognise/model/file_result.h"

#include <filesystem>

namespace tarn::recognise {

// A file that cannot be read is a result too. Throws NoAnswer where the asker does.
FileResult recogniseFile(const std::filesystem::path& path, server::MediaProcess& process, Asker& asker);

} // namespace tarn::recognise
