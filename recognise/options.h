// SPDX-License-Identifier: Apache-2.0
// The program's command line.
#pragma once

#include "commands/options/command_line.h"

namespace tarn::recognise {

void declareOptions(server::CommandLine& line);

} // namespace tarn::recognise
