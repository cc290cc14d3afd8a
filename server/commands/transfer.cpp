// SPDX-License-Identifier: Apache-2.0
#include "commands/transfer.h"

#include "base/text.h"
#include "catalogue/catalogue.h"
#include "commands/recording_json.h"
#include "commands/reporting.h"

#include <exception>
#include <fstream>
#include <istream>
#include <ostream>

namespace tarn::server {

namespace {

constexpr size_t kBatch = 500; // recordings that are committed together

// Without the name that the JSON library gives to a kind of error.
std::string plainReason(const std::exception& error) {
    const std::string reason = error.what();
    const size_t end = reason.starts_with("[json.exception.") ? reason.find("] ") : std::string::npos;
    return end == std::string::npos ? reason : reason.substr(end + 2);
}

void importAll(std::istream& lines, const std::string& name, CatalogueWriter& writer, size_t& imported) {
    std::string line;
    for (size_t number = 1; std::getline(lines, line); ++number) {
        if (line.empty()) continue;
        ExportedRecording exported;
        try {
            exported = fromJson(line);
        } catch (const std::exception& error) {
            throw CatalogueError(name + ", line " + std::to_string(number) + ": " + plainReason(error) +
                                 "; the lines before it are in the catalogue");
        }
        writer.put(exported.recording);
        if (exported.file) {
            writer.rememberFile(exported.recording.path, exported.file->bytes,
                                static_cast<int64_t>(exported.file->modifiedNs), exported.recording.contentHash);
        }
        if (++imported % kBatch == 0) writer.commit();
    }
    if (lines.bad()) throw CatalogueError(name + " cannot be read to its end; the lines before are in the catalogue");
}

} // namespace

int runBackup(const std::string& catalogue, const std::string& destination, std::ostream& out, std::ostream& err) {
    return reporting(err, [&] {
        CatalogueReader reader(catalogue);
        reader.backUp(destination);
        out << counted(reader.recordingCount(), "recording") << " in " << destination << '\n';
        return 0;
    });
}

int runRestore(const std::string& catalogue, const std::string& copy, std::ostream& out, std::ostream& err) {
    return reporting(err, [&] {
        CatalogueReader reader(copy);
        for (const std::string& problem : reader.check(true)) throw CatalogueError(problem);
        reader.backUp(catalogue);
        out << counted(reader.recordingCount(), "recording") << " in " << catalogue << '\n';
        return 0;
    });
}

int runExport(const std::string& catalogue, std::ostream& out, std::ostream& err) {
    return reporting(err, [&] {
        bool damaged = false;
        CatalogueReader reader(catalogue, [&](uint32_t /*id*/, const std::string& problem) {
            err << problem << '\n';
            damaged = true;
        });
        reader.forEach([&](const Recording& recording) {
            out << toJson({recording, reader.file(recording.path)}) << '\n';
            if (!out)
                throw CatalogueError("the export cannot be written and is incomplete; make room and run this again");
        });
        return damaged ? 1 : 0;
    });
}

int runImport(const std::string& catalogue, const std::string& path, std::istream& in, std::ostream& out,
              std::ostream& err) {
    return reporting(err, [&] {
        std::ifstream file;
        if (path != "-") {
            file.open(path);
            if (!file)
                throw CatalogueError(path +
                                     " cannot be read; give a file of exported recordings, or - for standard input");
        }
        CatalogueWriter writer(catalogue);
        size_t imported = 0;
        try {
            importAll(path == "-" ? in : file, path == "-" ? "standard input" : path, writer, imported);
        } catch (...) {
            writer.commit();
            throw;
        }
        writer.commit();
        out << counted(imported, "recording") << " imported\n";
        return 0;
    });
}

} // namespace tarn::server
