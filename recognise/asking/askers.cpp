// SPDX-License-Identifier: Apache-2.0
#include "recognise/asking/askers.h"

#include "catalogue/store.h"
#include "model/access_code.h"
#include "recognise/asking/access_code_file.h"
#include "recognise/asking/catalogue_asker.h"
#include "recognise/cache/cached_asker.h"

#include <fmt/format.h>
#include <ostream>

namespace tarn::recognise {

Askers::Askers(const AskingOptions& options, std::ostream& err) {
    std::string source;
    if (!options.server.empty()) {
        ServerOptions server;
        server.url = serverUrl(options.server);
        server.accessCode = readAccessCode(options.codeFile.empty() ? usualCodeFile() : options.codeFile);
        server.retries = static_cast<unsigned>(options.retries);
        server.http = options.http;
        source = fmt::format("{} {}", server.url, server::accountIdOf(server.accessCode));
        server_ = std::move(server);
    } else {
        catalogue_.emplace(options.catalogue, [&err](const std::string& line) { err << line << '\n'; });
        try {
            catalogue_->recordingCount(); // now, rather than at each file
        } catch (const server::Unavailable& error) {
            throw std::runtime_error(error.what());
        }
        std::error_code none;
        if (const auto written = server::lastWritten(options.catalogue)) {
            source = fmt::format("{} {}", std::filesystem::canonical(options.catalogue, none).string(), *written);
        }
    }
    if (!options.useCache || source.empty()) return;
    const std::filesystem::path file = options.cacheFile.empty() ? usualCacheFile() : options.cacheFile;
    try {
        cache_.emplace(AnswerCache::Options{file, source, options.cacheTime, options.refresh});
    } catch (const std::runtime_error& error) {
        err << error.what() << "; going on without a cache\n";
    }
}

std::unique_ptr<Asker> Askers::make() {
    std::unique_ptr<Asker> asker;
    if (server_) {
        asker = std::make_unique<ServerAsker>(*server_);
    } else {
        asker = std::make_unique<CatalogueAsker>(*catalogue_);
    }
    if (cache_) return std::make_unique<CachedAsker>(std::move(asker), *cache_);
    return asker;
}

} // namespace tarn::recognise
