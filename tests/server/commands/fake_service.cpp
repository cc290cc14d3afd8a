// SPDX-License-Identifier: Apache-2.0
// fake_service LISTEN ACCOUNTS FOLDER [STOPPING_MS]: the service with a catalogue in memory.
//   FOLDER/closed   while it exists, the catalogue cannot be asked
//   FOLDER/hold     while it exists, an answer waits; FOLDER/held is made when one does
#include "commands/serve.h"
#include "support/server/fake_catalogue.h"

#include <chrono>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <thread>

namespace fs = std::filesystem;

int main(int count, char** arguments) {
    if (count != 4 && count != 5) return 2;
    const fs::path folder = arguments[3];
    tarn::server::ServeOptions options;
    options.listen = arguments[1];
    options.catalogue = "in memory";
    options.accounts = arguments[2];
    if (count == 5) options.limits.stoppingTime = std::chrono::milliseconds(std::stoi(arguments[4]));
    kvxtest::FakeCatalogue catalogue;
    catalogue.matches = {kvxtest::match("a", 93)};
    catalogue.beforeCount = [folder] {
        if (fs::exists(folder / "closed")) throw tarn::server::Unavailable("closed on purpose");
    };
    catalogue.beforeAnswer = [folder, &catalogue] {
        catalogue.beforeCount();
        if (!fs::exists(folder / "hold")) return;
        std::ofstream(folder / "held") << "held";
        while (fs::exists(folder / "hold")) std::this_thread::sleep_for(std::chrono::milliseconds(1));
    };
    tarn::server::ServiceSetup setup;
    return tarn::server::runServe(options, setup, catalogue, std::cout, std::cerr);
}
