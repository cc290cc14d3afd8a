// SPDX-License-Identifier: Apache-2.0
// What every program of ours does before anything else.
#pragma once

namespace tarn {

// Opens /dev/null as each of the descriptors 0 to 2 that is closed. Otherwise the next file or socket that the program
// opens would get that number, and what the program prints would go into it. Ends the program with status 71 if there
// is no /dev/null.
void openStandardDescriptors() noexcept;

} // namespace tarn
