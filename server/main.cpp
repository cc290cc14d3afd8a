// SPDX-License-Identifier: Apache-2.0
#include "base/descriptor_stream.h"
#include "commands/options/declarations.h"
#include "kvx.h"
#include "standard_descriptors.h"

#include <cstring>
#include <exception>
#include <ostream>
#include <unistd.h>

namespace {

using namespace tarn::server;

int run(int argc, char** argv, std::ostream& out, std::ostream& err) {
    try {
        CommandLine line("tarn-server", "Recognises recordings of your own collection.", KVX_VERSION);
        declareAdd(line);
        declareWatch(line);
        declareServe(line);
        declareAccount(line);
        declareCatalogueCommands(line);
        declareTransfer(line);
        declareIdentify(line);
        return line.run(argc, argv, out, err);
    } catch (const std::exception& error) {
        err << error.what() << '\n';
        return 1;
    }
}

} // namespace

int main(int argc, char** argv) {
    tarn::openStandardDescriptors();
    DescriptorStream out(STDOUT_FILENO);
    DescriptorStream err(STDERR_FILENO);
    err << std::unitbuf;
    const int status = run(argc, argv, out, err);
    out.flush();
    if (out.failure() != 0) err << "standard output cannot be written: " << std::strerror(out.failure()) << '\n';
    return status == 0 && (out.failure() != 0 || err.failure() != 0) ? kOutputLost : status;
}
