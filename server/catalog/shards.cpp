// SPDX-License-Identifier: Apache-2.0
#include "catalog/shards.h"

#include "catalog/catalog.h"
#include "catalog/remedies.h"

#include <cerrno>
#include <charconv>
#include <filesystem>
#include <fstream>
#include <sstream>

namespace fs = std::filesystem;

namespace tarn::server {

namespace {

ShardLocation remoteShard(const std::string& kind, const std::string& address, const std::string& where) {
    ShardLocation shard;
    shard.writable = kind == "writable";
    if (!shard.writable && kind != "remote") {
        throw CatalogError(where + ": a shard is \"folder\", \"remote\" or \"writable\", not \"" + kind + "\"");
    }
    const size_t colon = address.rfind(':');
    if (colon != std::string::npos && colon > 0) {
        const char* begin = address.data() + colon + 1;
        const char* end = address.data() + address.size();
        const auto [stop, error] = std::from_chars(begin, end, shard.port);
        shard.host = address.substr(0, colon);
        if (error == std::errc{} && stop == end && shard.port > 0 && shard.port < 65536) return shard;
    }
    throw CatalogError(where + ": \"" + kind + "\" wants HOST:PORT");
}

} // namespace

std::vector<ShardLocation> shardsOf(const std::string& location) {
    std::error_code ignored;
    if (!fs::is_regular_file(location, ignored)) return {{.folder = location, .host = {}}};
    std::ifstream file(location);
    if (!file) throw CatalogError(failure(location, errno));
    std::vector<ShardLocation> shards;
    std::string line;
    for (size_t number = 1; std::getline(file, line); ++number) {
        std::istringstream words(line);
        std::string kind;
        std::string value;
        if (!(words >> kind) || kind.front() == '#') continue;
        std::getline(words >> std::ws, value);
        const std::string where = location + " line " + std::to_string(number);
        if (value.empty()) throw CatalogError(where + ": a shard is a kind and a place");
        if (kind == "folder") {
            shards.push_back({.folder = (fs::path(location).parent_path() / value).string(), .host = {}});
        } else {
            shards.push_back(remoteShard(kind, value, where));
        }
    }
    if (file.bad()) throw CatalogError(failure(location, errno));
    if (shards.empty()) throw CatalogError(location + " names no shard");
    return shards;
}

} // namespace tarn::server
