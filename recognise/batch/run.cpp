// SPDX-License-Identifier: Apache-2.0
#include "recognise/batch/run.h"

#include "audio/media_process.h"
#include "base/descriptor_stream.h"
#include "base/reason.h"
#include "base/text.h"
#include "commands/end_signal.h"
#include "ingest/file_list.h"
#include "recognise/asking/askers.h"
#include "recognise/batch/batch.h"
#include "recognise/batch/progress_line.h"
#include "recognise/batch/tracklist_run.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <iostream>
#include <ostream>
#include <unistd.h>

namespace tarn::recognise {

namespace {

using Clock = std::chrono::steady_clock;

constexpr auto kDrawEvery = std::chrono::milliseconds(200);
constexpr auto kEndWithin = std::chrono::seconds(10); // of a live list, after a signal
constexpr const char* kClearLine = "\r\033[K";

// Where results go: standard output, or the file that was named.
class Destination {
  public:
    Destination(const std::string& file, std::ostream& standard) : standard_(standard) {
        if (file.empty()) return;
        descriptor_ = server::FileDescriptor(open(file.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666));
        if (!descriptor_.isOpen()) {
            throw std::runtime_error(server::errnoText(server::inOneLine(file), "the output cannot be opened"));
        }
        file_ = std::make_unique<server::DescriptorStream>(descriptor_.get());
    }
    std::ostream& stream() {
        if (file_) return *file_;
        return standard_;
    }

  private:
    std::ostream& standard_;
    server::FileDescriptor descriptor_;
    std::unique_ptr<server::DescriptorStream> file_;
};

std::vector<std::string> namesOf(const RunOptions& options) {
    std::vector<std::string> names = options.paths;
    if (!options.listFile.empty()) {
        const auto end = options.nullSeparated ? server::NameEnd::kZeroByte : server::NameEnd::kLineFeed;
        const auto listed = server::readFileList(options.listFile, end, std::cin);
        names.insert(names.end(), listed.begin(), listed.end());
    }
    return names;
}

// Shown while results come, on a terminal alone.
class ProgressDisplay {
  public:
    ProgressDisplay(std::ostream& err, bool shown) : err_(err), shown_(shown && isatty(STDERR_FILENO) == 1) {}

    Clock::time_point due() const { return shown_ ? drawn_ + kDrawEvery : Clock::now() + std::chrono::minutes(1); }
    void clear() {
        if (shown_) err_ << kClearLine << std::flush;
    }
    void drawIfDue(const Tally& tally) {
        if (!shown_ || Clock::now() < due()) return;
        drawn_ = Clock::now();
        err_ << kClearLine << progressLine(tally, elapsed()) << std::flush;
    }
    std::chrono::milliseconds elapsed() const {
        return std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start_);
    }

  private:
    std::ostream& err_;
    bool shown_;
    Clock::time_point start_ = Clock::now();
    Clock::time_point drawn_ = start_;
};

// Says what ends a run before its time.
template <class Work>
int reported(std::ostream& err, Work work) {
    try {
        return work();
    } catch (const std::exception& error) {
        err << server::reasonOf(error) << '\n';
        return kServerFailed;
    }
}

int statusOf(const Tally& tally) {
    if (tally.server > 0) return kServerFailed;
    if (tally.unreadable > 0) return kSomeUnreadable;
    return tally.unknown > 0 ? kSomeUnknown : kAllMatched;
}

int recogniseAll(const RunOptions& options, std::ostream& out, std::ostream& err) {
    const std::vector<InputFile> inputs = inputsOf(namesOf(options));
    const size_t threads = options.jobs == 0 ? std::max(1U, std::thread::hardware_concurrency()) : options.jobs;
    // Before anything else is open: the processes that read files are not to hold it.
    std::vector<server::MediaProcess> processes(std::min(threads, std::max<size_t>(inputs.size(), 1)));
    Destination destination(options.output, out);
    Askers askers(options.asking, err);
    const std::unique_ptr<ResultWriter> writer = makeResultWriter(options.format, destination.stream());
    ProgressDisplay display(err, !options.quiet);
    Tally tally;
    tally.files = inputs.size();
    writer->begin();
    {
        Batch batch(
            inputs, processes, [&] { return askers.make(); }, askers.cache());
        while (tally.done() < inputs.size() && destination.stream().good()) {
            if (const std::optional<FileResult> result = batch.next(display.due())) {
                display.clear();
                writer->add(*result);
                tally.count(*result);
            }
            display.drawIfDue(tally);
        }
    }
    writer->end();
    display.clear();
    if (askers.cache() != nullptr && !askers.cache()->failure().empty()) err << askers.cache()->failure() << '\n';
    if (!options.quiet) err << summaryOf(tally, display.elapsed()) << '\n';
    if (!destination.stream().good()) return server::kOutputLost;
    return statusOf(tally);
}

} // namespace

int run(const RunOptions& options, std::ostream& out, std::ostream& err) {
    return reported(err, [&] { return recogniseAll(options, out, err); });
}

int runTracklist(const RunOptions& options, TracklistFormat format, std::ostream& out, std::ostream& err) {
    return reported(err, [&] {
        server::MediaProcess media; // before anything else is open
        Destination destination(options.output, out);
        Askers askers(options.asking, err);
        const int status = listTracksOfFile({.file = options.paths.front(), .format = format, .media = &media},
                                            *askers.make(), destination.stream(), err);
        return destination.stream().flush().good() ? status : server::kOutputLost;
    });
}

int runLive(const RunOptions& options, TracklistFormat format, const std::optional<PcmFormat>& pcm, std::ostream& out,
            std::ostream& err) {
    return reported(err, [&] {
        server::EndSignal signal;
        Destination destination(options.output, out);
        Askers askers(options.asking, err);
        signal.watch(kEndWithin, [&err] { err << "the server does not answer; ending without the last lines\n"; });
        LiveOptions live;
        live.pcm = pcm;
        live.format = format;
        live.waiting.stop = [&signal] { return signal.hasCome(); };
        const int status = listTracksOfStream(live, *askers.make(), destination.stream(), err);
        return destination.stream().flush().good() ? status : server::kOutputLost;
    });
}

} // namespace tarn::recognise
