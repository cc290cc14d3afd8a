// SPDX-License-Identifier: Apache-2.0
// The files of a catalogue, without what is in them.
//
//   FOLDER/current                   one line, the number of the generation in force; replaced by a rename
//   FOLDER/making                    one line, the number of the generation that a writer is making; else missing
//   FOLDER/writer.lock               locked by the writer while it lives
//   FOLDER/generation-N/main         the large compacted database; generation 1 alone has none
//   FOLDER/generation-N/recent       what changed since
//
// A generation is made complete beside the old one and is in force from the rename on: a writer killed at any point
// leaves one whole generation in force and perhaps another, named by `making`, to be removed. Nothing else that is
// newer than the generation in force is ever removed: it was in force once.
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace tarn::server {

inline constexpr uint64_t kFirstGeneration = 1;

class CatalogFolder {
  public:
    explicit CatalogFolder(std::filesystem::path path) : path_(std::move(path)) {}

    const std::filesystem::path& path() const { return path_; }
    // Nothing where there is nothing of a catalogue. Throws CatalogError where there is something, and what is in force
    // cannot be read or is not there.
    std::optional<uint64_t> current() const;
    void setCurrent(uint64_t generation) const;
    std::filesystem::path generation(uint64_t number) const;
    std::filesystem::path mainOf(uint64_t number) const { return generation(number) / "main"; }
    std::filesystem::path recentOf(uint64_t number) const { return generation(number) / "recent"; }
    // A line for each newer generation than that in force, but for the one that is being made: somebody put an older
    // `current` into the folder.
    std::vector<std::string> newerThan(uint64_t inForce) const;

    // The writer's. An empty folder for the generation, which counts as unfinished until finish().
    void begin(uint64_t generation) const;
    void finish() const;
    // Removes what a writer did not finish and what is older than the generation in force (0: there is none yet).
    void clearUp(uint64_t inForce) const;

  private:
    std::optional<uint64_t> numberIn(const char* name) const;
    void writeNumber(const char* name, uint64_t number) const;
    std::vector<uint64_t> generations() const;

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
