// SPDX-License-Identifier: Apache-2.0
// What can be wrong with a catalogue.
#pragma once

#include <stdexcept>

namespace tarn::server {

// The catalogue cannot be opened, read or written; the text says why.
class CatalogError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

// The catalogue is sound, but a part of it does not answer now.
class CatalogUnavailable : public CatalogError {
  public:
    using CatalogError::CatalogError;
};

// Lists of postings are damaged; they can be made anew from the recordings.
class DamagedLists : public CatalogError {
  public:
    using CatalogError::CatalogError;
};

// One recording of a sound catalogue is damaged; the text says which, and how to mend it.
class DamagedRecording : public CatalogError {
  public:
    using CatalogError::CatalogError;
};

} // namespace tarn::server
