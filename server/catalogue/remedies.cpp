// SPDX-License-Identifier: Apache-2.0
#include "catalogue/remedies.h"

#include <cerrno>
#include <cstring>
#include <initializer_list>

namespace tarn::server {

namespace {

std::string checkFirst() { return std::string("run tarn-server check; where that finds damage, ") + kRestore; }

} // namespace

std::string remedyFor(int error) {
    switch (error) {
    case EACCES:
    case EPERM:
        return "run this as the user that owns the catalogue, or let this user read it";
    case EROFS:
        return "the file system is read-only: write where it is not";
    case EMFILE:
    case ENFILE:
        return "raise the limit of open files (ulimit -n, LimitNOFILE=)";
    case ENOSPC:
    case EDQUOT:
        return "make room and run this again";
    case ENOTDIR:
    case EEXIST:
        return "name a folder, or a place where one can be made";
    case EFBIG: // a limit, or a damaged table that names a block far beyond its end
        return "raise the limit of file sizes (ulimit -f) if there is one; " + checkFirst();
    default:
        return "look after the disk; " + checkFirst();
    }
}

std::string remedyFor(const std::string& errorText) {
    for (const int error : {EACCES, EPERM, EROFS, EMFILE, ENFILE, ENOSPC, EDQUOT, EFBIG, EIO}) {
        if (errorText == std::strerror(error)) return remedyFor(error);
    }
    return {};
}

std::string failure(const std::string& path, int error) {
    return path + ": " + std::strerror(error) + "; " + remedyFor(error);
}

std::string damagedRecording(uint32_t id) {
    return "recording " + std::to_string(id) + " is damaged or of another version of the format; " + mendingOf(id);
}

std::string mendingOf(uint32_t id) {
    return "to mend it: tarn-server remove " + std::to_string(id) +
           ", then tarn-server add its file or folder again (compact --purge removes all that are damaged)";
}

} // namespace tarn::server
