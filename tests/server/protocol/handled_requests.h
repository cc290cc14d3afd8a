// SPDX-License-Identifier: Apache-2.0
// A client, and the handler that its requests go to.
#pragma once

#include "protocol/request_handler.h"
#include "support/guarded_bytes.h"
#include "support/packet_assembler.h"
#include "support/protocol_client.h"
#include "support/server/fake_catalogue.h"

#include <set>

namespace kvxtest {

using namespace tarn::server;

// One account, a catalogue in memory, and identities that are numbered.
class Service {
  public:
    FakeCatalogue catalogue;
    HandleOptions options;
    std::set<std::string> identities;
    bool identitiesLeft = true;
    Handle client;

    explicit Service(const HandleOptions& theOptions = {})
        : options(theOptions), client(kvxtest::makeHandle(options)) {}

    Reply ask(const Bytes& packet) {
        const kvxtest::GuardedBytes guarded(packet);
        return handler().handle({guarded.data(), guarded.size()});
    }
    std::optional<Records> records(const Reply& reply) { return recordsOf(client.get(), reply.body); }

    RequestHandler handler() {
        return RequestHandler(
            [this](uint32_t id) -> std::optional<std::string> {
                if (id != kAccountId) return std::nullopt;
                return kvxtest::accessCode(options.encryptionMethod, options.checksumMethod, options.secret);
            },
            [this](uint32_t, const std::string& presented) -> std::optional<DeviceIdentity> {
                if (!identitiesLeft) return std::nullopt;
                std::string given = presented;
                if (!identities.contains(given)) given = "identity " + std::to_string(1000000 + identities.size());
                identities.insert(given);
                DeviceIdentity identity;
                std::copy(given.begin(), given.end(), identity.begin());
                return identity;
            },
            catalogue);
    }
};

} // namespace kvxtest
