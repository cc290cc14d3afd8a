// make-sample FILE [RATE [CHANNELS [SECONDS]]]: writes a WAV file of generated music.
#include "support/wav_maker.h"

#include <cstdio>
#include <cstdlib>
#include <exception>

int main(int argumentCount, char** arguments) {
    const auto number = [&](int index, int otherwise) {
        return index < argumentCount ? static_cast<int>(std::strtol(arguments[index], nullptr, 10)) : otherwise;
    };
    kvxtest::WavOptions options;
    options.rateHz = number(2, 44100);
    options.channels = number(3, 2);
    const int seconds = number(4, 20);
    options.lengthMs = seconds * 1000;
    if (argumentCount < 2 || options.rateHz < 8000 || options.rateHz > 192000 || options.channels < 1 ||
        options.channels > 2 || seconds < 1 || seconds > 600) {
        std::fputs("make-sample FILE [RATE 8000..192000 [CHANNELS 1..2 [SECONDS 1..600]]]\n", stderr);
        return 2;
    }
    try {
        kvxtest::writeFile(arguments[1], kvxtest::wavFile(options));
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "make-sample: %s\n", failure.what());
        return 1;
    }
    return 0;
}
