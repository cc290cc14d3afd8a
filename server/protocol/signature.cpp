// SPDX-License-Identifier: Apache-2.0
#include "protocol/signature.h"

#include "kvx.h"
#include "model/access_code.h"

#include <array>
#include <memory>
#include <nettle/memops.h>

namespace tarn::server {

namespace {

struct HandleShutdown {
    void operator()(KVXHandle* handle) const { KVXShutdown(&handle); }
};

} // namespace

bool isSignedWith(const Packet& packet, const std::string& accessCode) {
    if (accessCode.size() != kAccessCodeLength) return false;
    KVXHandle* made = nullptr;
    if (KVXInit(&made, accessCode.c_str(), nullptr, 0, nullptr, 0, 'B', 'B', 0, nullptr, 0) != 0) return false;
    const std::unique_ptr<KVXHandle, HandleShutdown> handle(made);

    // A 4-byte sum under a block cipher is enciphered with 4 zeros after it.
    std::array<uint8_t, 16> expected{};
    uint32_t length = 0;
    if (KVXGetEncryptionLength(made, &length) != 0 || length > expected.size()) return false;
    KVXGetChecksum(made, packet.signedBytes.data(), static_cast<uint32_t>(packet.signedBytes.size()), expected.data());
    if (KVXEncryptData(made, expected.data(), static_cast<int32_t>(length)) != 0) return false;

    const bool sameMethods = packet.encryptionMethod == encryptionMethodOf(accessCode) &&
                             packet.checksumMethod == checksumMethodOf(accessCode);
    return packet.signature.size() == length &&
           nettle_memeql_sec(packet.signature.data(), expected.data(), length) != 0 && sameMethods;
}

} // namespace tarn::server
