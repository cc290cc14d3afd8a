// SPDX-License-Identifier: Apache-2.0
// Makes track lists as the program does, over a catalogue; bench/tracklist/score reads them.
//
//   tracklist_tool list CATALOGUE FORMAT FILE   of a file
//   tracklist_tool live CATALOGUE FORMAT        of a WAV stream on standard input
#include "matching/catalogue_recogniser.h"
#include "recognise/asking/catalogue_asker.h"
#include "recognise/batch/tracklist_run.h"

#include <iostream>
#include <string>
#include <vector>

using namespace tarn::recognise;

int main(int argc, char** argv) {
    const std::vector<std::string> words(argv + 1, argv + argc);
    const bool isLive = words.size() == 3 && words[0] == "live";
    const auto format = words.size() > 2 ? tracklistFormat(words[2]) : std::nullopt;
    if (!format || (!isLive && (words.size() != 4 || words[0] != "list"))) {
        std::cerr << "usage: tracklist_tool list CATALOGUE FORMAT FILE | tracklist_tool live CATALOGUE FORMAT\n";
        return 64;
    }
    tarn::server::MediaProcess media;
    tarn::server::CatalogueRecogniser catalogue(words[1]);
    CatalogueAsker asker(catalogue);
    if (isLive) return listTracksOfStream({0, std::nullopt, *format, {}}, asker, std::cout, std::cerr);
    return listTracksOfFile({words[3], *format, &media}, asker, std::cout, std::cerr);
}
