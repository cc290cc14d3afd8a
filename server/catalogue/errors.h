// SPDX-License-Identifier: Apache-2.0
// What can be wrong with a catalogue.
#pragma once

#include <stdexcept>

namespace tarn::server {

// The catalogue cannot be opened, read or written; the text says why.
class CatalogueError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

// The catalogue is sound, but a part of it does not answer now.
class CatalogueUnavailable : public CatalogueError {
  public:
    using CatalogueError::CatalogueError;
};

// Lists of postings are damaged; they can be made anew from the recordings.
class DamagedLists : public CatalogueError {
  public:
    using CatalogueError::CatalogueError;
};

// One recording of a sound catalogue is damaged; the text says which, and how to mend it.
class DamagedRecording : public CatalogueError {
  public:
    using CatalogueError::CatalogueError;
};

} // namespace tarn::server
