// SPDX-License-Identifier: Apache-2.0
// Where the bytes of a packet lie; the writer and any reader share this one table.
//
// BIN packet: header | payload length u32 | payload | appendix length u32 | appendix | signature
// Integers are little-endian.
#pragma once

#include <cstdint>

namespace kvx::packet {

// Header, 52 bytes
constexpr uint32_t kMagicOffset = 0;             //  4  "BIN "
constexpr uint32_t kVersionMajorOffset = 4;      //  1
constexpr uint32_t kVersionMinorOffset = 5;      //  1
constexpr uint32_t kAccountIdOffset = 6;         //  4
constexpr uint32_t kDeviceIdOffset = 10;         // 16  zero-padded
constexpr uint32_t kUserIdOffset = 26;           // 16  zero-padded
constexpr uint32_t kEncryptionMethodOffset = 42; //  2
constexpr uint32_t kChecksumMethodOffset = 44;   //  2
constexpr uint32_t kResponseFramingOffset = 46;  //  1  'H' or 'B': how the server is to frame its answer
constexpr uint32_t kLanguageCodeOffset = 47;     //  2
constexpr uint32_t kRequestOptionOffset = 49;    //  2
constexpr uint32_t kClientKindOffset = 51;       //  1
constexpr uint32_t kHeaderBytes = 52;
static_assert(kClientKindOffset + 1 == kHeaderBytes);

constexpr char kMagic[] = {'B', 'I', 'N', ' '};
constexpr uint32_t kIdBytes = 16;
static_assert(kAccountIdOffset + 4 == kDeviceIdOffset);
static_assert(kDeviceIdOffset + kIdBytes == kUserIdOffset);
static_assert(kUserIdOffset + kIdBytes == kEncryptionMethodOffset);

// Length fields after the header: of the payload, and of the appendix
constexpr uint32_t kLengthFieldBytes = 4;

// First byte of the payload
constexpr uint8_t kFingerprintRequest = 'F';
constexpr uint8_t kIdRequest = 'G';
constexpr uint8_t kMetaIdRequest = 'M';

// Permission block, 21 bytes: the number of groups, then each group's byte count and bits, in this order and not
// that of the masks in the handle, on purpose
constexpr uint8_t kPermissionGroups = 4;
constexpr uint8_t kAlbumPermissionBytes = 4;
constexpr uint8_t kTrackPermissionBytes = 3;
constexpr uint8_t kPerformerPermissionBytes = 3;
constexpr uint8_t kDvdPermissionBytes = 6;
constexpr uint32_t kPermissionBytes =
    1 + 4 + kAlbumPermissionBytes + kTrackPermissionBytes + kPerformerPermissionBytes + kDvdPermissionBytes;
static_assert(kPermissionBytes == 21);

// Record of an answer: type, length u32, data
constexpr uint32_t kRecordLengthOffset = 1;
constexpr uint32_t kRecordFrameBytes = 5;

} // namespace kvx::packet
