#include "catalog/folder.h"

#include "catalog/catalog.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <cstring>
#include <fstream>
#include <vector>

namespace fs = std::filesystem;

namespace tarn::server {

namespace {

constexpr char kCurrent[] = "current";
constexpr char kGenerationPrefix[] = "generation-";

std::string reason() { return std::strerror(errno); }

} // namespace

void syncToDisk(const fs::path& path) {
    const int file = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (file < 0) throw CatalogError(path.string() + ": " + reason());
    const int status = ::fsync(file);
    const int error = errno;
    ::close(file);
    if (status != 0 && error != EINVAL) throw CatalogError(path.string() + ": " + std::strerror(error));
}

std::optional<uint64_t> CatalogFolder::current() const {
    std::ifstream file(path_ / kCurrent);
    if (!file) return std::nullopt;
    std::string line;
    std::getline(file, line);
    uint64_t number = 0;
    const auto [end, error] = std::from_chars(line.data(), line.data() + line.size(), number);
    if (error != std::errc{} || end != line.data() + line.size()) {
        throw CatalogError((path_ / kCurrent).string() + " is damaged: it names no generation");
    }
    return number;
}

void CatalogFolder::setCurrent(uint64_t number) const {
    const fs::path next = path_ / "current.new";
    {
        std::ofstream file(next, std::ios::trunc);
        file << number << '\n';
        file.close();
        if (!file) throw CatalogError(next.string() + " cannot be written");
    }
    syncToDisk(next);
    syncToDisk(generation(number));
    fs::rename(next, path_ / kCurrent);
    syncToDisk(path_);
}

fs::path CatalogFolder::generation(uint64_t number) const {
    return path_ / (kGenerationPrefix + std::to_string(number));
}

void CatalogFolder::sweep(uint64_t generationToKeep) const {
    std::vector<fs::path> old;
    for (const fs::directory_entry& entry : fs::directory_iterator(path_)) {
        const std::string name = entry.path().filename().string();
        if (name.starts_with(kGenerationPrefix) && entry.path() != generation(generationToKeep)) {
            old.push_back(entry.path());
        }
    }
    for (const fs::path& path : old) fs::remove_all(path);
}

WriterLock::WriterLock(const fs::path& folder) {
    const fs::path path = folder / "writer.lock";
    file_ = ::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0644);
    if (file_ < 0) throw CatalogError(path.string() + ": " + reason());
    if (::flock(file_, LOCK_EX | LOCK_NB) != 0) {
        ::close(file_);
        throw CatalogError("The catalogue " + folder.string() +
                           " is being written by another process; try again when it is done");
    }
}

WriterLock::~WriterLock() { ::close(file_); }

} // namespace tarn::server
