// SPDX-License-Identifier: Apache-2.0
// What whole processes cost: CPU time (user and system) and resident memory of the tool, from a WAV file to the report
// with both requests to a server on this machine, which is not counted; of Debian's fpcalc on the same file; of the
// usage text and the encode mode beside an empty program. Prints a line for each figure: name, tab, value.
#include "cpu_time.h"
#include "support/access_keys.h"
#include "support/answers.h"
#include "support/handles.h"
#include "support/loopback_server.h"
#include "support/process.h"
#include "support/temporary_directory.h"
#include "support/wav_maker.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <stdexcept>
#include <string>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace {

void quitUnless(bool condition, const std::string& what) {
    if (!condition) throw std::runtime_error(what);
}

// One program, run again and again.
struct Subject {
    std::string name;
    std::vector<double> cpuMs = {};
    double residentMB = 0;
    void add(const kvxtest::Ended& run) {
        cpuMs.push_back(run.cpuMs);
        residentMB = std::max(residentMB, static_cast<double>(run.residentKib) / 1024);
    }
    void print() const {
        std::printf("%s, CPU ms\t%.3f\n", name.c_str(), bench::median(cpuMs));
        std::printf("%s, resident MB\t%.2f\n", name.c_str(), residentMB);
    }
};

class Measurement {
  public:
    Measurement() : wav_(directory_.file("music.wav")) {
        // In another process: the peak of resident memory of a program starts with that of the process that starts it.
        const pid_t maker = fork();
        if (maker == 0) {
            kvxtest::writeFile(wav_, kvxtest::wavFile({.channels = 2, .rateHz = 44100, .lengthMs = 31000}));
            _exit(0);
        }
        int ended = 0;
        quitUnless(maker > 0 && waitpid(maker, &ended, 0) == maker && ended == 0, "no sound file");
    }

    void round() {
        recognise();
        chromaprint();
        expect(usage_, {TARN_TOOL}, "tarn [-e rawsac]", 255);
        expect(encode_, {TARN_TOOL, "-e", "1700000000:" + std::string(80, '5')}, "Encoded Key ", 0);
        expect(empty_, {EMPTY_PROGRAM}, "", 0);
    }

    void print() const {
        for (const Subject* subject : {&tool_, &fpcalc_, &usage_, &encode_, &empty_}) subject->print();
    }

  private:
    // A track, then its album: a report with a title only if both requests were answered.
    void recognise() {
        using namespace kvxtest;
        const Bytes track = record('T', trackBlob("t1", "Title", {"Artist"}));
        const Bytes album = record('A', albumBlob("a1", "Album", "Artist", 87));
        const auto answering = [](const Bytes& body) {
            return Script{receiveRequest(), kvxtest::send(httpAnswer(200, body)), awaitClose()};
        };
        LoopbackServer server({answering(track), answering(album)});
        const std::string key = accessKeyFor(accessCode(3, 3));
        const Ended run = runProgram({TARN_TOOL, key, server.host(), wav_});
        quitUnless(run.status == 0 && run.out.find("<album>Album</album>") != std::string::npos,
                   "the tool does not recognise: " + run.out + run.err);
        tool_.add(run);
    }

    void chromaprint() { expect(fpcalc_, {"fpcalc", "-length", "30", wav_}, "FINGERPRINT=AQ", 0); }

    void expect(Subject& subject, const std::vector<std::string>& command, const std::string& text, int exitStatus) {
        const kvxtest::Ended run = kvxtest::runProgram(command);
        const std::string written = run.out + run.err;
        quitUnless(written.find(text) != std::string::npos, subject.name + " writes something else: " + written);
        quitUnless(run.status == exitStatus, subject.name + " ends in another way");
        subject.add(run);
    }

    kvxtest::TemporaryDirectory directory_;
    std::string wav_;
    Subject tool_{"tarn"};
    Subject fpcalc_{"fpcalc"};
    Subject usage_{"tarn without arguments"};
    Subject encode_{"tarn -e"};
    Subject empty_{"empty program"};
};

} // namespace

int main(int argumentCount, char** arguments) {
    try {
        const int rounds = argumentCount > 1 ? std::atoi(arguments[1]) : 41;
        quitUnless(rounds > 0, "usage: tool_costs [ROUNDS]");
        Measurement measurement;
        for (int i = 0; i < rounds; ++i) measurement.round();
        measurement.print();
    } catch (const std::exception& e) {
        std::fprintf(stderr, "tool_costs: %s\n", e.what());
        return 1;
    }
}
