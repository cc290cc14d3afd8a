// SPDX-License-Identifier: Apache-2.0
// The body of a posted form, as a client sends it.
//
// Holds: a packet is handed out only whole, and never above the limit; the outcome does not depend on the pieces in
// which the body arrives; a well-formed body gives back its packet.
#include "http/form_body.h"

#include "fuzz_target.h"
#include "support/guarded_bytes.h"
#include "support/server/form_connection.h"

#include <algorithm>
#include <string>
#include <string_view>

namespace {

using tarn::server::FormBody;

constexpr size_t kMaxPacketBytes = 600;

struct Outcome {
    FormBody::State state;
    std::string packet; // of a complete form
    bool operator==(const Outcome&) const = default;
};

Outcome outcomeOf(std::string_view body, size_t pieceBytes) {
    FormBody form(kvxtest::formConnection(), kMaxPacketBytes);
    while (!body.empty()) {
        const size_t count = std::min(pieceBytes, body.size());
        form.add(body.data(), count);
        body.remove_prefix(count);
    }
    const FormBody::State state = form.finish();
    REQUIRE(form.packet().size() <= kMaxPacketBytes);
    return {state, state == FormBody::State::kComplete ? form.packet() : std::string()};
}

void readWhole(std::span<const uint8_t> bytes) {
    const kvxtest::GuardedBytes guarded(bytes);
    const std::string_view body(reinterpret_cast<const char*>(guarded.data()), guarded.size());
    const Outcome whole = outcomeOf(body, std::max<size_t>(body.size(), 1));
    for (const size_t pieceBytes : {size_t{1}, size_t{13}}) REQUIRE(outcomeOf(body, pieceBytes) == whole);
}

// The bytes as the packet of a well-formed body.
void readAsPacket(std::string_view packet) {
    const std::string delimiter = std::string("\r\n--") + kvxtest::kFormBoundary;
    if (packet.find(delimiter) != std::string_view::npos) return;
    const std::string body = delimiter.substr(2) + "\r\nContent-Disposition: form-data; name=\"data\"\r\n\r\n" +
                             std::string(packet) + delimiter + "--\r\n";
    const Outcome outcome = outcomeOf(body, body.size());
    if (packet.size() > kMaxPacketBytes) {
        REQUIRE(outcome.state == FormBody::State::kTooLarge);
    } else {
        REQUIRE(outcome.state == FormBody::State::kComplete && outcome.packet == packet);
    }
}

} // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    readWhole({data, size});
    readAsPacket({reinterpret_cast<const char*>(data), size});
    return 0;
}
