// SPDX-License-Identifier: Apache-2.0
#include "commands/transfer.h"

#include "catalog/catalog.h"
#include "commands/recording_json.h"
#include "commands/reporting.h"

#include <fstream>
#include <istream>
#include <ostream>

namespace tarn::server {

namespace {

constexpr size_t kBatch = 500; // recordings that are committed together

void importAll(std::istream& lines, const std::string& name, CatalogWriter& writer, size_t& imported) {
    std::string line;
    for (size_t number = 1; std::getline(lines, line); ++number) {
        if (line.empty()) continue;
        ExportedRecording exported;
        try {
            exported = fromJson(line);
        } catch (const std::exception& error) {
            throw CatalogError(name + ", line " + std::to_string(number) + ": " + error.what() +
                               "; the lines before it are in the catalogue");
        }
        writer.put(exported.recording);
        if (exported.file) {
            writer.rememberFile(exported.recording.path, exported.file->bytes,
                                static_cast<int64_t>(exported.file->modifiedNs), exported.recording.contentHash);
        }
        if (++imported % kBatch == 0) writer.commit();
    }
    if (lines.bad()) throw CatalogError(name + " cannot be read to its end; the lines before are in the catalogue");
}

} // namespace

int runBackup(const std::string& catalog, const std::string& destination, std::ostream& out, std::ostream& err) {
    return reporting(err, [&] {
        CatalogReader reader(catalog);
        reader.backUp(destination);
        out << reader.recordingCount() << " recordings in " << destination << '\n';
        return 0;
    });
}

int runRestore(const std::string& catalog, const std::string& copy, std::ostream& out, std::ostream& err) {
    return reporting(err, [&] {
        CatalogReader reader(copy);
        for (const std::string& problem : reader.check(true)) throw CatalogError(problem);
        reader.backUp(catalog);
        out << reader.recordingCount() << " recordings in " << catalog << '\n';
        return 0;
    });
}

int runExport(const std::string& catalog, std::ostream& out, std::ostream& err) {
    return reporting(err, [&] {
        bool damaged = false;
        CatalogReader reader(catalog, [&](uint32_t /*id*/, const std::string& problem) {
            err << problem << '\n';
            damaged = true;
        });
        reader.forEach([&](const Recording& recording) {
            out << toJson({recording, reader.file(recording.path)}) << '\n';
            if (!out)
                throw CatalogError("the export cannot be written and is incomplete; make room and run this again");
        });
        return damaged ? 1 : 0;
    });
}

int runImport(const std::string& catalog, const std::string& path, std::istream& in, std::ostream& out,
              std::ostream& err) {
    return reporting(err, [&] {
        std::ifstream file;
        if (path != "-") {
            file.open(path);
            if (!file)
                throw CatalogError(path +
                                   " cannot be read; give a file of exported recordings, or - for standard input");
        }
        CatalogWriter writer(catalog);
        size_t imported = 0;
        try {
            importAll(path == "-" ? in : file, path == "-" ? "standard input" : path, writer, imported);
        } catch (...) {
            writer.commit();
            throw;
        }
        writer.commit();
        out << imported << " recordings imported\n";
        return 0;
    });
}

} // namespace tarn::server
