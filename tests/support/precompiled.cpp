// SPDX-License-Identifier: Apache-2.0
// Compiled for its headers alone, which the tests then find precompiled.
