// SPDX-License-Identifier: Apache-2.0
// A C++ program outside the tree, against the installed library.
#include <kvx.h>

#include <cstdint>
#include <iostream>
#include <memory>

int main() {
    struct Shutdown {
        void operator()(KVXHandle* handle) const { KVXShutdown(&handle); }
    };
    std::uint16_t version[3];
    KVXGetVersion(&version[0], &version[1], &version[2]);
    KVXHandle* made = nullptr;
    if (KVXInit(&made, "0100000002000200", nullptr, 0, nullptr, 0, 'B', 'B', 'S', nullptr, 0) != 0) return 1;
    const std::unique_ptr<KVXHandle, Shutdown> handle(made);
    std::uint8_t* request = nullptr;
    std::uint32_t length = 0;
    if (KVXGenerateIDRequest(handle.get(), nullptr, 0, &request, &length) != 0) return 1;
    std::cout << "kvx " KVX_VERSION ", protocol " << version[0] << '.' << version[1] << '.' << version[2]
              << ", a request of " << length << " bytes\n";
    KVXFreeIDRequest(&request);
}
