// SPDX-License-Identifier: Apache-2.0
#include "prepared_requests.h"

#include "support/protocol_client.h"
#include "support/raw_client.h"

#include <cstdio>
#include <stdexcept>

using namespace kvxtest;
using namespace tarn::server;

namespace tarn::bench {

namespace {

constexpr size_t kRequests = 400;
constexpr uint32_t kUnknown = 500'000'000; // recordings with numbers from here on are in no catalogue

} // namespace

std::vector<Prepared> prepare(const SyntheticMusic& music, uint16_t port, const std::string& code, uint32_t count,
                              bool known) {
    KVXHandle* opened = nullptr;
    const uint8_t device[] = {1, 2, 3};
    if (KVXInit(&opened, code.c_str(), device, 3, nullptr, 0, 'B', 'B', 'S', nullptr, 0) != 0) {
        throw std::runtime_error("CODE must be an access code of 80 digits");
    }
    const Handle client(opened);
    Dice dice(known ? 21 : 22);
    std::vector<Prepared> prepared;
    size_t asExpected = 0;
    for (size_t i = 0; i < kRequests; ++i) {
        const auto number = known ? static_cast<uint32_t>(dice.below(count)) + 1 : kUnknown + static_cast<uint32_t>(i);
        const FingerprintQuery query = music.query(number, dice, 1.0);
        Prepared one;
        one.request = postOf(fingerprintPacket(client.get(), 10, query.codes));
        const HttpAnswer answer = kvxtest::exchange(port, one.request);
        if (answer.status != 200) throw std::runtime_error("status " + std::to_string(answer.status));
        const std::optional<Records> records = recordsOf(client.get(), answer.body);
        const bool right = known
                               ? typesOf(records).starts_with('T') &&
                                     records->front().second.find(music.recording(number).trackId) != std::string::npos
                               : typesOf(records) == "N";
        asExpected += right ? 1 : 0;
        one.answer = answer.body;
        one.asExpected = right;
        prepared.push_back(std::move(one));
    }
    std::printf("%zu of %zu answers are as expected\n", asExpected, kRequests);
    return prepared;
}

} // namespace tarn::bench
