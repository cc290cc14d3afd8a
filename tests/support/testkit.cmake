# SPDX-License-Identifier: Apache-2.0
# The helpers of tests/support as libraries, for tests, fuzz targets and measurements: any of them may be built alone.
include_guard(GLOBAL)
add_subdirectory(${CMAKE_CURRENT_LIST_DIR} ${PROJECT_BINARY_DIR}/tests/support)
