// SPDX-License-Identifier: Apache-2.0
#include "json/bearer.h"

#include "model/access_code.h"

#include <nettle/memops.h>
#include <string>
#include <strings.h>

namespace tarn::server {

namespace {

// As long as a code; what is not a code is compared all the same.
std::string shownCode(std::string_view authorization) {
    constexpr std::string_view kScheme = "Bearer ";
    if (authorization.size() < kScheme.size() ||
        strncasecmp(authorization.data(), kScheme.data(), kScheme.size()) != 0) {
        authorization = {};
    } else {
        authorization.remove_prefix(kScheme.size());
    }
    std::string code(authorization.size() == kAccessCodeLength ? authorization : std::string_view());
    code.resize(kAccessCodeLength, '-');
    return code;
}

} // namespace

std::optional<uint32_t> accountOfBearer(std::string_view authorization, const RequestHandler::CodeFinder& accounts) {
    const std::string shown = shownCode(authorization);
    const uint32_t account = accountIdOf(shown);
    const std::optional<std::string> known = accounts(account);
    const std::string decoy(kAccessCodeLength, '+');
    const std::string& expected = known && known->size() == kAccessCodeLength ? *known : decoy;
    const bool same = nettle_memeql_sec(shown.data(), expected.data(), kAccessCodeLength) != 0;
    return known && same ? std::optional(account) : std::nullopt; // what looks like the decoy is no account's code
}

} // namespace tarn::server
