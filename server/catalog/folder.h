// The files of a catalogue, without what is in them.
//
//   FOLDER/current                   one line, the number of the generation that counts; replaced by a rename
//   FOLDER/writer.lock               locked by the writer while it lives
//   FOLDER/generation-N/main         the large compacted database; missing before the first merge
//   FOLDER/generation-N/recent       what changed since
//
// A generation is made complete beside the old one and counts from the rename on: a writer killed at any point leaves
// one whole generation in force and perhaps another to be swept up.
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>

namespace tarn::server {

class CatalogFolder {
  public:
    explicit CatalogFolder(std::filesystem::path path) : path_(std::move(path)) {}

    const std::filesystem::path& path() const { return path_; }
    // Nothing where no generation was ever completed. Throws CatalogError when `current` holds no number.
    std::optional<uint64_t> current() const;
    void setCurrent(uint64_t generation) const;
    std::filesystem::path generation(uint64_t number) const;
    std::filesystem::path mainOf(uint64_t number) const { return generation(number) / "main"; }
    std::filesystem::path recentOf(uint64_t number) const { return generation(number) / "recent"; }
    // Removes every generation but this one.
    void sweep(uint64_t generationToKeep) const;

  private:
    std::filesystem::path path_;
};

// Makes a file or folder durable. A file system that cannot sync folders is taken as it is. Throws CatalogError.
void syncToDisk(const std::filesystem::path& path);

// Held by the one writer; the system releases it when the process ends, however it ends.
class WriterLock {
  public:
    // Throws CatalogError when another writer, in this process or another, holds it.
    explicit WriterLock(const std::filesystem::path& folder);
    ~WriterLock();
    WriterLock(const WriterLock&) = delete;
    WriterLock& operator=(const WriterLock&) = delete;

  private:
    int file_;
};

} // namespace tarn::server
