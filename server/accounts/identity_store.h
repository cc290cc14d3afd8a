// SPDX-License-Identifier: Apache-2.0
// The identities that devices were given: 16 random bytes each. Kept in a file that grows by one entry at a time, so
// that several servers may share it.
//
//   account id u32 little-endian | 16 bytes
#pragma once

#include "base/file_descriptor.h"
#include "model/device_identity.h"

#include <cstdint>
#include <filesystem>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <unordered_map>

namespace tarn::server {

class IdentityStore {
  public:
    // The most that an account is given, so that the file does not grow without end.
    static constexpr size_t kMaxPerAccount = 100'000;

    // Does not open the file: a service that is never asked for an identity needs none.
    explicit IdentityStore(std::filesystem::path file, size_t mostPerAccount = kMaxPerAccount);

    // Opens the file, or makes it if there is none; throws std::runtime_error. Drops an entry that was cut off.
    void open();
    // The presented one if it was given to this account, else a new one, which is on disk before it is returned;
    // nothing if the account already has its share. Throws std::runtime_error if it cannot be written.
    std::optional<DeviceIdentity> identityFor(uint32_t accountId, const std::string& presented);

  private:
    void openIfClosed(); // these two under the mutex
    void readMore();     // entries added since, by any process

    const std::filesystem::path path_;
    const size_t mostPerAccount_;
    std::mutex mutex_;
    FileDescriptor file_;
    int64_t readBytes_ = 0;
    std::unordered_map<uint32_t, std::set<DeviceIdentity>> known_;
};

// Random bytes of the system.
std::string randomBytes(size_t count);

} // namespace tarn::server
