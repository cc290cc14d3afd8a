// SPDX-License-Identifier: Apache-2.0
// A request packet from the network, and the same packet with a signature that fits.
//
// Holds: a packet is admitted, bad or refused, and the same packet gets the same outcome again; a well-formed packet
// with its account's signature is not refused; with one bit of the signature changed it is.
#include "fuzz_target.h"
#include "kvx.h"
#include "protocol/packet_reader.h"
#include "protocol/request_handler.h"
#include "support/guarded_bytes.h"
#include "support/handles.h"

#include <algorithm>
#include <array>
#include <vector>

namespace {

using namespace tarn::server;
using Bytes = std::vector<uint8_t>;

// The last bits of an account's number select its methods; one number in eight has no account.
struct Methods {
    int encryption;
    int checksum;
};
std::optional<Methods> methodsOf(uint32_t account) {
    switch (account % 8) {
    case 0:
        return Methods{1, 2};
    case 1:
        return Methods{2, 2};
    case 2:
        return Methods{1, 3};
    case 3:
        return Methods{2, 3};
    case 4:
        return Methods{3, 2};
    case 5:
        return Methods{3, 3};
    case 6:
        return Methods{1, 1}; // signs nothing
    default:
        return std::nullopt;
    }
}

std::optional<std::string> codeOf(uint32_t account) {
    const auto methods = methodsOf(account);
    if (!methods) return std::nullopt;
    return kvxtest::accessCode(methods->encryption, methods->checksum, {}, account);
}

class NoRecogniser : public Recogniser {
  public:
    Recognition recognise(const FingerprintQuery&, size_t) override { return {}; }
    std::vector<Match> lookUp(const std::string&, size_t) override { return {}; }
    std::optional<uint32_t> browse(uint32_t, uint32_t, const std::function<bool(const Match&)>&) override {
        return std::nullopt;
    }
    uint64_t recordingCount() override { return 0; }
};

RequestOutcome admit(std::span<const uint8_t> packet) {
    static NoRecogniser recogniser;
    static const RequestHandler handler(
        codeOf, [](uint32_t, const std::string&) { return std::nullopt; }, recogniser);
    const kvxtest::GuardedBytes guarded(packet);
    const auto admitted = handler.admit({guarded.data(), guarded.size()});
    if (const auto* reply = std::get_if<Reply>(&admitted)) {
        const RequestOutcome outcome = reply->report.outcome;
        REQUIRE(outcome == RequestOutcome::kBadPacket || outcome == RequestOutcome::kRefused);
        REQUIRE(reply->status == httpStatus(outcome) && reply->closeConnection && !reply->body.empty());
        return outcome;
    }
    REQUIRE(std::get<AdmittedRequest>(admitted).report.accountId.has_value());
    return RequestOutcome::kNotFound; // means: admitted
}

// The packet with its account's methods in its header and the right signature; empty if the account signs nothing or
// the packet is not one.
Bytes signedPacket(const Bytes& bytes) {
    try {
        const Packet packet = readPacket(bytes);
        const auto methods = methodsOf(packet.accountId);
        if (!methods || methods->checksum == 1) return {};
        if (packet.encryptionMethod != methods->encryption || packet.checksumMethod != methods->checksum) return {};
        const auto handle = kvxtest::makeHandle({methods->encryption, methods->checksum});
        uint32_t length = 0;
        REQUIRE(KVXGetEncryptionLength(handle.get(), &length) == 0);
        std::array<uint8_t, 16> signature{};
        REQUIRE(length <= signature.size());
        KVXGetChecksum(handle.get(), packet.signedBytes.data(), static_cast<uint32_t>(packet.signedBytes.size()),
                       signature.data());
        REQUIRE(KVXEncryptData(handle.get(), signature.data(), static_cast<int32_t>(length)) == 0);
        Bytes whole(packet.signedBytes.begin(), packet.signedBytes.end());
        whole.insert(whole.end(), signature.begin(), signature.begin() + length);
        return whole;
    } catch (const BadPacket&) {
        return {};
    }
}

} // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const Bytes bytes(data, data + size);
    const RequestOutcome outcome = admit(bytes);
    REQUIRE(admit(bytes) == outcome);

    Bytes right = signedPacket(bytes);
    if (right.empty()) return 0;
    REQUIRE(admit(right) != RequestOutcome::kRefused);
    right.back() ^= static_cast<uint8_t>(1U << size % 8);
    REQUIRE(admit(right) == RequestOutcome::kRefused);
    return 0;
}
