// SPDX-License-Identifier: Apache-2.0
#include "http/listen_socket.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace tarn::server;

TEST(ListenSocket, TakesAddressesOfBothKinds) {
    const struct {
        const char* address;
        const char* host;
    } cases[] = {{"127.0.0.1:0", "127.0.0.1:"}, {"[::1]:0", "[::1]:"}, {"[127.0.0.1]:0", "127.0.0.1:"}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.address);
        const FileDescriptor socket = listenOn(c.address);
        EXPECT_NE(boundPort(socket), 0);
        EXPECT_EQ(boundAddress(socket), c.host + std::to_string(boundPort(socket)));
    }
    EXPECT_NE(boundPort(listenOn(":0")), 0);
}

TEST(ListenSocket, RefusesWhatIsNoAddress) {
    for (const char* address : {"", "127.0.0.1", "127.0.0.1:", "127.0.0.1:x", "127.0.0.1:65536", "::1:80", "[::1]",
                                "127.0.0.1:80x", "127.0.0.1:-1"}) {
        SCOPED_TRACE(address);
        EXPECT_THROW(listenOn(address), ListenError);
    }
}

TEST(ListenSocket, ListensOnTheFirstAddressOfAName) {
    const FileDescriptor socket = listenOn("localhost:0");
    const std::string port = std::to_string(boundPort(socket));
    EXPECT_NE(port, "0");
    EXPECT_THAT(boundAddress(socket), testing::AnyOf("127.0.0.1:" + port, "[::1]:" + port));
}

TEST(ListenSocket, SaysThatANameHasNoAddress) {
    try {
        listenOn("a..b:80"); // no name at all, so that nobody is asked for it
        FAIL() << "a name without address was taken";
    } catch (const ListenError& error) {
        EXPECT_STREQ(error.what(),
                     "a..b:80: no address of a..b is known (Name or service not known); give an address of "
                     "this machine, as in 127.0.0.1:80 or [::1]:80");
    }
}

// 192.0.2.1 is an address for documents, which no machine has.
TEST(ListenSocket, SaysThatTheAddressIsOfAnotherMachine) {
    try {
        listenOn("192.0.2.1:0");
        FAIL() << "another machine's address was taken";
    } catch (const ListenError& error) {
        EXPECT_STREQ(error.what(),
                     "192.0.2.1:0: cannot listen: Cannot assign requested address; give an address of this "
                     "machine with --listen");
    }
}

TEST(ListenSocket, SaysThatThePortIsTaken) {
    const FileDescriptor first = listenOn("127.0.0.1:0");
    const std::string address = boundAddress(first);
    try {
        listenOn(address);
        FAIL() << "two sockets on one port";
    } catch (const ListenError& error) {
        EXPECT_EQ(
            error.what(),
            address +
                ": cannot listen: Address already in use; stop what listens there, or give another port with --listen");
    }
}
