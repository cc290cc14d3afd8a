// SPDX-License-Identifier: Apache-2.0
#include "http/listen_socket.h"

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
                                "example.org:80", "127.0.0.1:80x", "127.0.0.1:-1"}) {
        SCOPED_TRACE(address);
        EXPECT_THROW(listenOn(address), ListenError);
    }
}

TEST(ListenSocket, SaysThatItTakesNoNames) {
    try {
        listenOn("localhost:80");
        FAIL() << "a name was taken";
    } catch (const ListenError& error) {
        EXPECT_STREQ(error.what(),
                     "localhost:80: localhost is a name: give an address, as in 127.0.0.1:80 or [::1]:80");
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
