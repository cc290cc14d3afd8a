// SPDX-License-Identifier: Apache-2.0
#include "base/standard_streams.h"
#include "kvx.h"
#include "recognise/options.h"
#include "standard_descriptors.h"

#include <csignal>

int main(int argc, char** argv) {
    using namespace tarn;
    openStandardDescriptors();
    std::signal(SIGPIPE, SIG_IGN); // also of connections; a reader that has gone shows when results are written
    return server::runWithStandardStreams([&](std::ostream& out, std::ostream& err) {
        server::CommandLine line("tarn-recognise", "Recognises audio files.", KVX_VERSION);
        recognise::declareOptions(line);
        return line.run(argc, argv, out, err);
    });
}
