// SPDX-License-Identifier: Apache-2.0
#include "recognise/asking/device_identity.h"

#include "base/digest.h"
#include "kvx.h"

#include <fstream>

namespace tarn::recognise {

std::string deviceIdentity(const char* machineIdFile) {
    std::string number(64, '\0');
    std::ifstream file(machineIdFile, std::ios::binary);
    file.read(number.data(), static_cast<std::streamsize>(number.size()));
    number.resize(static_cast<size_t>(file.gcount()));
    if (number.empty()) return std::string(KVX_ID_LENGTH, '\0');
    // The number itself must not leave the machine.
    server::Digest digest;
    digest.add(std::string_view("tarn-recognise device\n"));
    digest.add(std::string_view(number));
    return digest.bytes().substr(0, KVX_ID_LENGTH);
}

} // namespace tarn::recognise
