// SPDX-License-Identifier: Apache-2.0
#include "kvx.h"
#include "standard_descriptors.h"

#include <cstring>
#include <iostream>

int main(int argc, char** argv) {
    tarn::openStandardDescriptors();
    if (argc == 2 && std::strcmp(argv[1], "--version") == 0) {
        std::cout << "tarn-recognise " KVX_VERSION "\n";
        return 0;
    }
    std::cerr << "usage: tarn-recognise --version\n";
    return 64;
}
