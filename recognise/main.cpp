// SPDX-License-Identifier: Apache-2.0
#include "base/descriptor_stream.h"
#include "kvx.h"
#include "recognise/options.h"
#include "standard_descriptors.h"

#include <csignal>
#include <cstring>
#include <exception>
#include <ostream>
#include <unistd.h>

namespace {

using namespace tarn;

int run(int argc, char** argv, std::ostream& out, std::ostream& err) {
    try {
        server::CommandLine line("tarn-recognise", "Recognises audio files.", KVX_VERSION);
        recognise::declareOptions(line);
        return line.run(argc, argv, out, err);
    } catch (const std::exception& error) {
        err << error.what() << '\n';
        return 1;
    }
}

} // namespace

int main(int argc, char** argv) {
    openStandardDescriptors();
    std::signal(SIGPIPE, SIG_IGN); // also of connections; a reader that has gone shows when results are written
    server::DescriptorStream out(STDOUT_FILENO);
    server::DescriptorStream err(STDERR_FILENO);
    err << std::unitbuf;
    const int status = run(argc, argv, out, err);
    out.flush();
    if (out.failure() != 0) err << "standard output cannot be written: " << std::strerror(out.failure()) << '\n';
    return status == 0 && (out.failure() != 0 || err.failure() != 0) ? server::kOutputLost : status;
}
