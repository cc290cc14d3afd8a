// SPDX-License-Identifier: Apache-2.0
#include "recognise/model/names.h"

#include <array>

namespace tarn::recognise {

namespace {

constexpr std::array kStatuses = {"matched", "unknown", "error"};
constexpr std::array kErrors = {"not-found", "unreadable", "too-short", "server", "not-asked"};

} // namespace

const char* nameOf(FileStatus status) { return kStatuses.at(static_cast<size_t>(status)); }
const char* nameOf(FileError error) { return kErrors.at(static_cast<size_t>(error)); }

std::optional<FileStatus> statusOf(std::string_view name) {
    for (size_t i = 0; i < kStatuses.size(); ++i) {
        if (name == kStatuses.at(i)) return static_cast<FileStatus>(i);
    }
    return std::nullopt;
}

} // namespace tarn::recognise
