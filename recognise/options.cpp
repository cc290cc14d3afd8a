// SPDX-License-Identifier: Apache-2.0
#include "recognise/options.h"

#include "recognise/asking/access_code_file.h"
#include "recognise/batch/run.h"
#include "recognise/cache/answer_cache.h"

#include <algorithm>
#include <memory>
#include <ostream>
#include <stdexcept>
#include <vector>

namespace tarn::recognise {

namespace {

// Of results of files, then those that only track lists have.
std::vector<std::string> allFormats() {
    std::vector<std::string> names = formatNames();
    for (const std::string& name : tracklistFormatNames()) {
        if (std::ranges::find(names, name) == names.end()) names.push_back(name);
    }
    return names;
}

struct Given {
    RunOptions run;
    std::string format = "table";
    bool tracklist = false;
    bool live = false;
    std::string pcm;
    bool noCache = false;
    size_t cacheDays = 30;
};

std::string problemOfServer(const std::string& named) {
    try {
        if (!named.empty()) (void)serverUrl(named);
        return {};
    } catch (const std::invalid_argument& error) {
        return error.what();
    }
}

// What is wrong with the options together; empty: nothing.
std::string problemOf(const Given& given) {
    const RunOptions& options = given.run;
    const AskingOptions& asking = options.asking;
    const bool list = given.tracklist || given.live;
    if (asking.server.empty() == asking.catalogue.empty()) return "say what to ask: either --server or --catalogue";
    if (const std::string wrong = problemOfServer(asking.server); !wrong.empty()) return wrong;
    if (options.paths.empty() && options.listFile.empty())
        return "name a file or a folder, or a list with --files-from";
    if (options.nullSeparated && options.listFile.empty()) return "--null needs --files-from";
    if (list && (options.paths.size() != 1 || !options.listFile.empty()))
        return "a track list is of one file; name that file alone";
    if (given.live && options.paths.front() != "-") return "--live reads standard input; give - as the only path";
    if (!given.live && !given.pcm.empty()) return "--pcm needs --live";
    if (!given.pcm.empty() && !pcmFormat(given.pcm))
        return "--pcm must be a rate and a number of channels, such as 44100,2";
    if (list && !tracklistFormat(given.format)) return "there are no track lists in the format " + given.format;
    if (given.live && given.format == "cue")
        return "--live has no format cue: a CUE sheet can only be written at the end";
    const std::vector<std::string> ofFiles = formatNames();
    if (!list && std::find(ofFiles.begin(), ofFiles.end(), given.format) == ofFiles.end()) {
        return "the format " + given.format + " is for track lists; add --tracklist";
    }
    return {};
}

int runWith(Given given, std::ostream& out, std::ostream& err) {
    RunOptions& options = given.run;
    options.asking.useCache = !given.noCache;
    options.asking.cacheTime = std::chrono::hours(24) * given.cacheDays;
    if (const std::string problem = problemOf(given); !problem.empty()) {
        err << "tarn-recognise: " << problem << "; tarn-recognise --help lists what it takes\n";
        return kUsage;
    }
    if (given.live) return runLive(options, *tracklistFormat(given.format), pcmFormat(given.pcm), out, err);
    if (given.tracklist) return runTracklist(options, *tracklistFormat(given.format), out, err);
    options.format = formatOf(given.format);
    return run(options, out, err);
}

} // namespace

void declareOptions(server::CommandLine& line) {
    const auto given = std::make_shared<Given>();
    RunOptions& run = given->run;
    AskingOptions& asking = run.asking;
    asking.codeFile = usualCodeFile();
    asking.cacheFile = usualCacheFile();
    server::Command program = line.whole();
    program.arguments("PATH", run.paths, "Files, and folders with audio files");
    program.textOrNothing("--files-from", run.listFile, "FILE",
                          "File of further names, one per line; -: standard input");
    program.flag("-0,--null", run.nullSeparated, "The names of --files-from end with a zero byte");
    program.textOrNothing("--server", asking.server, "URL", "The server to ask, such as http://music.example:8080/");
    program.textOrNothing("--catalogue,--catalog", asking.catalogue, "PLACE",
                          "The catalogue to ask instead: a folder, or redis://HOST:PORT");
    program.file("--code-file", asking.codeFile, "FILE",
                 "File with the access code; only its owner may have access to it");
    program.flag("--tracklist", given->tracklist, "Say what plays from when to when in one long recording");
    program.flag("--live", given->live, "The same for a stream on standard input (-), while it plays");
    program.textOrNothing("--pcm", given->pcm, "RATE,CHANNELS", "The stream is samples of 16 bits without a header");
    program.oneOf("--format", given->format, allFormats(),
                  "table, ndjson, csv or xml; for track lists also cue or labels, but not xml");
    program.textOrNothing("--output", run.output, "FILE", "Write results into this file");
    program.number("--jobs", run.jobs, 0, 256, "Files at a time; 0: one for each processor");
    program.number("--retries", asking.retries, 0, 100, "Further tries when the server is busy or does not answer");
    program.seconds("--timeout", asking.http.timeout, "The longest wait for an answer");
    program.textOrNothing("--proxy", asking.http.proxy, "URL",
                          "The proxy to use; without it, the one of the environment");
    program.textOrNothing("--ca-file", asking.http.authorities, "FILE",
                          "Certificates to trust instead of the system's");
    program.file("--cache", asking.cacheFile, "FILE", "Where answers are kept");
    program.number("--cache-days", given->cacheDays, 0, 3650, "Days after which a kept answer is asked for again");
    program.flag("--refresh", asking.refresh, "Ask again about everything");
    program.flag("--no-cache", given->noCache, "Keep no answers and use none");
    program.flag("--quiet", run.quiet, "Print neither progress nor a summary");
    program.runs([given](std::ostream& out, std::ostream& err) { return runWith(*given, out, err); });
}

} // namespace tarn::recognise
