// SPDX-License-Identifier: Apache-2.0
#include "catalogue/store.h"

#include "catalogue/lmdb/lmdb_store.h"
#include "catalogue/redis/location.h"
#include "catalogue/redis/redis_store.h"

namespace tarn::server {

std::string shownLocation(const std::string& location) { return redis::withoutLogin(location); }

std::optional<int64_t> lastWritten(const std::string& location) {
    if (redis::isAddress(location)) return std::nullopt;
    return lmdb::lastWritten(location);
}

void expectPlaceForCopy(const std::string& destination) {
    if (!redis::isAddress(destination)) return;
    throw CatalogueError(
        shownLocation(destination) +
        " is not a folder, and a copy goes to a folder; to fill Redis servers, run tarn-server export "
        "--catalogue FOLDER and give its output to tarn-server import --catalogue redis://HOST:PORT -");
}

std::unique_ptr<StoreReader> openStoreReader(const std::string& location) {
    if (redis::isAddress(location)) return openRedisReader(location);
    return lmdb::openReader(location);
}

std::unique_ptr<StoreWriter> openStoreWriter(const std::string& location, bool make) {
    if (redis::isAddress(location)) return openRedisWriter(location, make);
    return lmdb::openWriter(location, make);
}

} // namespace tarn::server
