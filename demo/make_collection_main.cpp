// SPDX-License-Identifier: Apache-2.0
// make-collection FOLDER [COUNT [SECONDS [SEED]]]: a collection of made-up music with tags; prints the paths.
#include "demo/audio_writer.h"

#include <cstdlib>
#include <exception>
#include <iostream>

int main(int argc, char** argv) {
    if (argc < 2 || argc > 5) {
        std::cerr << "usage: make-collection FOLDER [COUNT [SECONDS [SEED]]]\n";
        return 2;
    }
    const auto number = [&](int index, double otherwise) {
        return argc > index ? std::strtod(argv[index], nullptr) : otherwise;
    };
    const double count = number(2, 24);
    const double seconds = number(3, 75);
    const double seed = number(4, 1);
    if (!(count >= 1 && count <= 144 && seconds >= 1 && seconds <= 3600 && seed >= 0 && seed < 1e9)) {
        std::cerr << "make-collection: 1 to 144 pieces of 1 to 3600 seconds\n";
        return 2;
    }
    try {
        for (const auto& path : tarn::demo::writeCollection(argv[1], static_cast<uint64_t>(seed),
                                                            static_cast<uint32_t>(count), seconds, 44100, 2)) {
            std::cout << path.string() << '\n';
        }
        return 0;
    } catch (const std::exception& error) {
        std::cerr << error.what() << '\n';
        return 1;
    }
}
