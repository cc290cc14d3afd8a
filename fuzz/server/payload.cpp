// SPDX-License-Identifier: Apache-2.0
// The payload of a packet with a good signature, up to the answer; the program is built once for each kind of request,
// which replaces the first byte of the input.
//
// Holds: the payload is read or bad; what was read is within the bounds that the rest of the server relies on, and
// makes the same payload again if it describes all of it; the client's library can read the answer.
#include "fuzz_target.h"
#include "protocol/request_handler.h"
#include "support/guarded_bytes.h"
#include "support/handles.h"
#include "support/server/fake_catalogue.h"

#include <string>
#include <vector>

namespace {

using namespace tarn::server;
using Bytes = std::vector<uint8_t>;

std::string little(size_t value) {
    std::string bytes;
    for (int i = 0; i < 4; ++i) bytes += static_cast<char>(value >> (8 * i) & 0xff);
    return bytes;
}

void check(const FingerprintRequest& request, const std::string& payload) {
    size_t letters = 0;
    for (const std::string& codes : request.query.codes) {
        REQUIRE(codes.find_first_not_of("abcdefghijklmnopqrstuvwx") == std::string::npos);
        letters += codes.size();
    }
    REQUIRE(letters < payload.size());
}

void check(const IdentityRequest& request, const std::string& payload) {
    REQUIRE(std::string("G\0", 2) + little(request.presented.size()) + request.presented == payload);
}

void check(const ItemsRequest& request, const std::string& payload) {
    REQUIRE(!request.ids.empty() && request.ids.size() <= kMaxIds);
    std::string list;
    for (const std::string& id : request.ids) list += "," + id;
    list.erase(0, 1);
    const std::string end = static_cast<char>(request.kind) + little(list.size()) + list;
    REQUIRE(payload.size() > end.size() && payload.ends_with(end));
}

const RequestHandler& handler() {
    static kvxtest::FakeCatalogue catalogue;
    static const bool filled = [] {
        catalogue.matches = {kvxtest::match("one", 99), kvxtest::match("two", 80)};
        catalogue.byId["A-one"] = {kvxtest::match("one", 100)};
        return true;
    }();
    (void)filled;
    static const RequestHandler made([](uint32_t) { return std::nullopt; },
                                     [](uint32_t, const std::string& presented) {
                                         return presented.empty() ? std::optional<DeviceIdentity>(DeviceIdentity{})
                                                                  : std::nullopt;
                                     },
                                     catalogue);
    return made;
}

// The answer to a request, taken apart by the client's library.
void answer(const RequestPayload& payload) {
    AdmittedRequest admitted;
    admitted.payload = payload;
    admitted.report.accountId = 1;
    admitted.report.requestOption = 10;
    const Reply reply = handler().answer(std::move(admitted));
    REQUIRE(reply.status == 200);
    static const auto handle = kvxtest::makeHandle({.encryptionMethod = 1, .checksumMethod = 2});
    int32_t count = 0;
    REQUIRE(KVXParseServerResponse(handle.get(), reinterpret_cast<const uint8_t*>(reply.body.data()),
                                   static_cast<int32_t>(reply.body.size()), &count) == 0);
    REQUIRE(count >= 1 && static_cast<size_t>(count) >= reply.report.answers);
}

} // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Bytes bytes(data, data + size);
    if (!bytes.empty()) bytes[0] = TARN_FUZZ_REQUEST;
    const kvxtest::GuardedBytes guarded(bytes);
    RequestPayload payload;
    try {
        payload = readPayload({guarded.data(), guarded.size()});
    } catch (const BadPacket& bad) {
        REQUIRE(std::string_view(bad.what()).size() > 1);
        return 0;
    }
    constexpr char kRequests[] = {'F', 'G', 'M'};
    REQUIRE(kRequests[payload.index()] == TARN_FUZZ_REQUEST);
    std::visit([&](const auto& request) { check(request, std::string(bytes.begin(), bytes.end())); }, payload);
    answer(payload);
    return 0;
}
