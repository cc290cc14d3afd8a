// SPDX-License-Identifier: Apache-2.0
// A connection whose request announces a form. The HTTP library's form parser asks its connection for nothing but the
// content type, so that one connection does for any number of forms.
#pragma once

struct MHD_Connection;

namespace kvxtest {

constexpr const char* kFormBoundary = "boundary";

// Made at the first call; lives as long as the program.
MHD_Connection* formConnection();

} // namespace kvxtest
