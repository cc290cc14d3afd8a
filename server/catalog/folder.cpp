// SPDX-License-Identifier: Apache-2.0
#include "catalog/folder.h"

#include "catalog/catalog.h"
#include "catalog/remedies.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <memory>
#include <string_view>
#include <utility>

namespace fs = std::filesystem;

namespace tarn::server {

namespace {

constexpr char kCurrent[] = "current";
constexpr char kMaking[] = "making";
constexpr std::string_view kGenerationPrefix = "generation-";
// A writer may finish a generation between two looks of a reader; it takes far longer to finish the next.
constexpr int kLooks = 3;

class Descriptor {
  public:
    explicit Descriptor(int file) : file_(file) {}
    ~Descriptor() {
        if (file_ >= 0) ::close(file_);
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    int get() const { return file_; }
    int release() { return std::exchange(file_, -1); }

  private:
    int file_;
};

CatalogError failed(const fs::path& path) { return CatalogError(failure(path.string(), errno)); }

// The whole text is the number.
std::optional<uint64_t> numberOf(std::string_view text) {
    uint64_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc{} || end != text.data() + text.size() || number == 0) return std::nullopt;
    return number;
}

bool isThere(const fs::path& path) {
    struct stat about {};
    if (::stat(path.c_str(), &about) == 0) return true;
    if (errno != ENOENT) throw failed(path);
    return false;
}

void removeFile(const fs::path& path) {
    if (::unlink(path.c_str()) != 0 && errno != ENOENT) throw failed(path);
}

} // namespace

void syncToDisk(const fs::path& path) {
    const Descriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
    if (file.get() < 0) throw failed(path);
    if (::fsync(file.get()) != 0 && errno != EINVAL) throw failed(path);
}

// Nothing: there is no such file.
std::optional<uint64_t> CatalogFolder::numberIn(const char* name) const {
    const fs::path path = path_ / name;
    const Descriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
    if (file.get() < 0) {
        if (errno == ENOENT) return std::nullopt;
        throw failed(path);
    }
    std::array<char, 32> bytes{};
    const ssize_t count = ::read(file.get(), bytes.data(), bytes.size());
    if (count < 0) throw failed(path);
    const std::string_view text(bytes.data(), static_cast<size_t>(count));
    // Without its end, the line may be the beginning of a longer number.
    const std::optional<uint64_t> number =
        text.ends_with('\n') ? numberOf(text.substr(0, text.size() - 1)) : std::nullopt;
    if (number) return number;
    std::string there;
    for (const uint64_t each : generations()) there += " " + std::to_string(each);
    throw CatalogError(path.string() + " is damaged: it names no generation; there is:" + there +
                       "; write the number of the latest whole one and a line feed into it, or " + kRestore);
}

std::optional<uint64_t> CatalogFolder::current() const {
    std::string problem;
    for (int look = 0; look < kLooks; ++look) {
        const std::optional<uint64_t> number = numberIn(kCurrent);
        if (number) {
            if (isThere(generation(*number))) return number;
            problem = generation(*number).string() + " is missing, which " + (path_ / kCurrent).string() + " names";
            continue;
        }
        const std::optional<uint64_t> unfinished = numberIn(kMaking);
        std::vector<uint64_t> there = generations();
        std::erase_if(there, [&](uint64_t each) { return each == unfinished; });
        if (there.empty()) return std::nullopt;
        problem = (path_ / kCurrent).string() + " is missing, which names the generation in force; write " +
                  std::to_string(there.back()) + " and a line feed into it if " + generation(there.back()).string() +
                  " is whole";
    }
    throw CatalogError(problem + "; or " + kRestore);
}

void CatalogFolder::writeNumber(const char* name, uint64_t number) const {
    const fs::path path = path_ / name;
    const fs::path next = path.string() + ".new";
    {
        constexpr mode_t kMode = 0666; // the user's mask decides
        const Descriptor file(::open(next.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, kMode));
        if (file.get() < 0) throw failed(next);
        const std::string line = std::to_string(number) + '\n';
        errno = ENOSPC; // of a write that is short without an error
        if (::write(file.get(), line.data(), line.size()) != static_cast<ssize_t>(line.size())) throw failed(next);
        if (::fsync(file.get()) != 0) throw failed(next);
    }
    if (::rename(next.c_str(), path.c_str()) != 0) throw failed(path);
    syncToDisk(path_);
}

void CatalogFolder::setCurrent(uint64_t number) const {
    syncToDisk(generation(number));
    writeNumber(kCurrent, number);
}

fs::path CatalogFolder::generation(uint64_t number) const {
    return path_ / (std::string(kGenerationPrefix) + std::to_string(number));
}

// Lowest first. Of a folder that is not there: none.
std::vector<uint64_t> CatalogFolder::generations() const {
    struct Close {
        void operator()(DIR* folder) const { ::closedir(folder); }
    };
    const std::unique_ptr<DIR, Close> folder(::opendir(path_.c_str()));
    if (!folder) {
        if (errno == ENOENT) return {};
        throw failed(path_);
    }
    std::vector<uint64_t> numbers;
    for (errno = 0; const dirent* entry = ::readdir(folder.get());) { // NOLINT(concurrency-mt-unsafe): its own stream
        const std::string_view name = entry->d_name;
        if (!name.starts_with(kGenerationPrefix)) continue;
        if (const auto number = numberOf(name.substr(kGenerationPrefix.size()))) numbers.push_back(*number);
    }
    if (errno != 0) throw failed(path_);
    std::sort(numbers.begin(), numbers.end());
    return numbers;
}

std::vector<std::string> CatalogFolder::newerThan(uint64_t inForce) const {
    const std::optional<uint64_t> unfinished = numberIn(kMaking);
    std::vector<std::string> problems;
    for (const uint64_t each : generations()) {
        if (each <= inForce || each == unfinished) continue;
        problems.push_back(generation(each).string() + " is newer than generation " + std::to_string(inForce) +
                           ", which " + (path_ / kCurrent).string() +
                           " names: two copies of the catalogue are mixed; restore the folder from one copy, or move " +
                           generation(each).filename().string() + " elsewhere");
    }
    return problems;
}

void CatalogFolder::begin(uint64_t number) const {
    writeNumber(kMaking, number);
    fs::remove_all(generation(number));
    fs::create_directories(generation(number));
}

void CatalogFolder::finish() const { removeFile(path_ / kMaking); }

void CatalogFolder::clearUp(uint64_t inForce) const {
    if (const std::optional<uint64_t> unfinished = numberIn(kMaking)) {
        if (*unfinished != inForce) fs::remove_all(generation(*unfinished));
        finish();
    }
    for (const uint64_t number : generations()) {
        if (number < inForce) fs::remove_all(generation(number));
    }
}

WriterLock::WriterLock(const fs::path& folder) {
    const fs::path path = folder / "writer.lock";
    Descriptor file(::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0644));
    if (file.get() < 0) throw failed(path);
    if (::flock(file.get(), LOCK_EX | LOCK_NB) != 0) {
        if (errno != EWOULDBLOCK) throw failed(path);
        throw CatalogError("The catalogue " + folder.string() +
                           " is being written by another process; try again when it is done");
    }
    file_ = file.release();
}

WriterLock::~WriterLock() { ::close(file_); }

} // namespace tarn::server
