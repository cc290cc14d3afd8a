// SPDX-License-Identifier: Apache-2.0
#include "commands/catalogue.h"
#include "commands/options/declarations.h"

namespace tarn::server {

void declareIdentify(CommandLine& line) {
    struct Options {
        std::string catalogue;
        std::string file;
        bool json = false;
    };
    const auto options = std::make_shared<Options>();
    Command identify = line.command("identify", "Recognise a file without a server, and say why");
    addCatalogueOption(identify, options->catalogue);
    identify.argument("FILE", options->file, "An audio file");
    addJsonOption(identify, options->json);
    identify.runs([options](std::ostream& out, std::ostream& err) {
        return runIdentify(options->catalogue, options->file, options->json, out, err);
    });
}

} // namespace tarn::server
