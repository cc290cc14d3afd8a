// SPDX-License-Identifier: Apache-2.0
// What the catalogue says when something fails.
#pragma once

#include "catalogue/errors.h"

#include <string>

namespace kvxtest {

template <class Function>
std::string errorOf(Function function) {
    try {
        function();
    } catch (const tarn::server::CatalogueError& error) {
        return error.what();
    }
    return "no error";
}

} // namespace kvxtest
