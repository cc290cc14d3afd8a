// SPDX-License-Identifier: Apache-2.0
#include "platform/linux/system_services.h"
#include "run.h"
#include "standard_descriptors.h"

int main(int argumentCount, char** arguments) {
    tarn::openStandardDescriptors();
    tarn::SystemServices system;
    return tarn::runTarn({arguments, static_cast<size_t>(argumentCount)}, system.services());
}
