// SPDX-License-Identifier: Apache-2.0
// Asks a catalogue directly. Its answers are those of a server over it, and have paths besides.
#pragma once

#include "coding/library_handle.h"
#include "model/recogniser.h"
#include "recognise/model/asker.h"

namespace tarn::recognise {

class CatalogueAsker : public Asker {
  public:
    // catalogue: all askers of a program may share one; it must outlive this.
    explicit CatalogueAsker(server::Recogniser& catalogue);

    Answer ask(std::span<const int16_t> samples) override;

  private:
    server::Recogniser& catalogue_;
    server::LibraryHandle reader_; // of the records
};

} // namespace tarn::recognise
