// SPDX-License-Identifier: Apache-2.0
// What whole processes cost: CPU time (user and system) and resident memory of the tool, from a WAV file to the report
// with both requests to a server on this machine, which is not counted; of Debian's fpcalc on the same file; of the
// usage text and the encode mode beside an empty program. Prints a line for each figure: name, tab, value.
#include "cpu_time.h"
#include "support/access_keys.h"
#include "support/answers.h"
#include "support/handles.h"
#include "support/loopback_server.h"
#include "support/temporary_directory.h"
#include "support/wav_maker.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <fstream>
#include <iterator>
#include <spawn.h>
#include <stdexcept>
#include <string>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace {

void quitUnless(bool condition, const std::string& what) {
    if (!condition) throw std::runtime_error(what);
}

struct Cost {
    int exitStatus = -1;
    double cpuMs = 0;
    double residentMB = 0; // at most
};

double msOf(const timeval& time) {
    return static_cast<double>(time.tv_sec) * 1e3 + static_cast<double>(time.tv_usec) * 1e-3;
}

// Output and errors go into files, so that the measured process never waits for this one to read them.
Cost run(std::vector<std::string> command, const std::string& output, const std::string& errors) {
    std::vector<char*> arguments;
    arguments.reserve(command.size() + 1);
    for (std::string& argument : command) arguments.push_back(argument.data());
    arguments.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    constexpr int kFlags = O_WRONLY | O_CREAT | O_TRUNC;
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, output.c_str(), kFlags, 0600);
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, errors.c_str(), kFlags, 0600);
    pid_t process = 0;
    const int status = posix_spawnp(&process, arguments[0], &actions, nullptr, arguments.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    quitUnless(status == 0, "cannot start " + command[0]);
    int ended = 0;
    rusage used{};
    while (wait4(process, &ended, 0, &used) < 0) quitUnless(errno == EINTR, "cannot wait for " + command[0]);
    return {WIFEXITED(ended) ? WEXITSTATUS(ended) : -1, msOf(used.ru_utime) + msOf(used.ru_stime),
            static_cast<double>(used.ru_maxrss) / 1024};
}

std::string contentOf(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

// One program, run again and again.
struct Subject {
    std::string name;
    std::vector<double> cpuMs = {};
    double residentMB = 0;
    void add(const Cost& cost) {
        cpuMs.push_back(cost.cpuMs);
        residentMB = std::max(residentMB, cost.residentMB);
    }
    void print() const {
        std::printf("%s, CPU ms\t%.3f\n", name.c_str(), bench::median(cpuMs));
        std::printf("%s, resident MB\t%.2f\n", name.c_str(), residentMB);
    }
};

class Measurement {
  public:
    Measurement()
        : wav_(directory_.file("music.wav")), output_(directory_.file("output")), errors_(directory_.file("errors")) {
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
        const Cost cost = run({TARN_TOOL, key, server.host(), wav_}, output_, errors_);
        const std::string report = contentOf(output_);
        quitUnless(cost.exitStatus == 0 && report.find("<album>Album</album>") != std::string::npos,
                   "the tool does not recognise: " + report + contentOf(errors_));
        tool_.add(cost);
    }

    void chromaprint() { expect(fpcalc_, {"fpcalc", "-length", "30", wav_}, "FINGERPRINT=AQ", 0); }

    void expect(Subject& subject, const std::vector<std::string>& command, const std::string& text, int exitStatus) {
        const Cost cost = run(command, output_, errors_);
        const std::string written = contentOf(output_) + contentOf(errors_);
        quitUnless(written.find(text) != std::string::npos, subject.name + " writes something else: " + written);
        quitUnless(cost.exitStatus == exitStatus, subject.name + " ends in another way");
        subject.add(cost);
    }

    kvxtest::TemporaryDirectory directory_;
    std::string wav_;
    std::string output_;
    std::string errors_;
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
