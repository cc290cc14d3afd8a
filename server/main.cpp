// SPDX-License-Identifier: Apache-2.0
#include "base/standard_streams.h"
#include "commands/options/declarations.h"
#include "kvx.h"
#include "standard_descriptors.h"

int main(int argc, char** argv) {
    using namespace tarn::server;
    tarn::openStandardDescriptors();
    return runWithStandardStreams([&](std::ostream& out, std::ostream& err) {
        CommandLine line("tarn-server", "Recognises recordings of your own collection.", KVX_VERSION);
        declareAdd(line);
        declareWatch(line);
        declareServe(line);
        declareAccount(line);
        declareCatalogueCommands(line);
        declareTransfer(line);
        declareIdentify(line);
        return line.run(argc, argv, out, err);
    });
}
