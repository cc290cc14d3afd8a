// SPDX-License-Identifier: Apache-2.0
#include "recognise/asking/device_identity.h"

#include "support/files.h"

#include <gtest/gtest.h>

namespace {

using tarn::recognise::deviceIdentity;

TEST(DeviceIdentity, IsTheSameOnEachRunAndDiffersBetweenMachines) {
    const kvxtest::TemporaryDirectory folder;
    std::ofstream(folder / "one") << "b08dfa6083e7567a1921a715000001fb\n";
    std::ofstream(folder / "other") << "b08dfa6083e7567a1921a715000001fc\n";
    const std::string identity = deviceIdentity(folder.file("one").c_str());
    EXPECT_EQ(identity.size(), 16U);
    EXPECT_EQ(identity, deviceIdentity(folder.file("one").c_str()));
    EXPECT_NE(identity, deviceIdentity(folder.file("other").c_str()));
}

TEST(DeviceIdentity, IsZerosWhereTheMachineHasNoNumber) {
    const kvxtest::TemporaryDirectory folder;
    EXPECT_EQ(deviceIdentity(folder.file("missing").c_str()), std::string(16, '\0'));
}

} // namespace
