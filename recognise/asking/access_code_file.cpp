// SPDX-License-Identifier: Apache-2.0
#include "recognise/asking/access_code_file.h"

#include "base/file_descriptor.h"
#include "base/text.h"
#include "base/user_folder.h"
#include "model/access_code.h"

#include <algorithm>
#include <array>
#include <fcntl.h>
#include <stdexcept>
#include <sys/stat.h>
#include <unistd.h>

namespace tarn::recognise {

namespace {

constexpr mode_t kOthers = S_IRWXG | S_IRWXO;
constexpr size_t kMaxFileBytes = 1024;

} // namespace

std::filesystem::path usualCodeFile() { return server::userFolder("XDG_CONFIG_HOME", ".config") / "tarn/access-code"; }

std::string accessCodeIn(std::string_view bytes) {
    constexpr std::string_view kSpace = " \t\r\n";
    const size_t begin = std::min(bytes.find_first_not_of(kSpace), bytes.size());
    const size_t end = bytes.find_last_not_of(kSpace) + 1;
    const std::string_view code = bytes.substr(begin, end > begin ? end - begin : 0);
    if (!server::isAccessCode(code)) {
        throw std::runtime_error("it holds no access code, which is 80 hexadecimal digits and nothing else; copy the "
                                 "code that \"tarn-server account add\" printed");
    }
    return std::string(code);
}

std::string readAccessCode(const std::filesystem::path& file) {
    const std::string name = server::inOneLine(file.string());
    const server::FileDescriptor descriptor(open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    if (!descriptor.isOpen()) {
        throw std::runtime_error(server::errnoText(name, "the access code cannot be read") +
                                 "; write the code into it, or name another file with --code-file");
    }
    struct stat status {};
    if (fstat(descriptor.get(), &status) != 0) throw std::runtime_error(server::errnoText(name, "cannot be examined"));
    if (!S_ISREG(status.st_mode)) throw std::runtime_error(name + ": it is not a file; name one with --code-file");
    if ((status.st_mode & kOthers) != 0) {
        throw std::runtime_error(name + ": others may read or write it; run chmod 600 on it");
    }
    std::array<char, kMaxFileBytes> bytes{};
    const ssize_t count = read(descriptor.get(), bytes.data(), bytes.size());
    if (count < 0) throw std::runtime_error(server::errnoText(name, "cannot be read"));
    try {
        return accessCodeIn({bytes.data(), static_cast<size_t>(count)});
    } catch (const std::runtime_error& error) {
        throw std::runtime_error(name + ": " + error.what());
    }
}

} // namespace tarn::recognise
