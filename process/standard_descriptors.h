// SPDX-License-Identifier: Apache-2.0
// What every program of ours does before anything else.
#pragma once

namespace tarn {

// Opens /dev/null in the place of each of the descriptors 0 to 2 that is closed. Otherwise the next file or socket that
// the program opens would get the number, and what the program prints would go into it. Ends the program with status 71
// where there is no /dev/null.
void openStandardDescriptors() noexcept;

} // namespace tarn
