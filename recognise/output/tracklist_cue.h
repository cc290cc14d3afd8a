// SPDX-License-Identifier: Apache-2.0
// Track lists as CUE sheets. A sheet has 99 tracks at most. Unknown sound is a track; silence belongs to the track
// before it.
#pragma once

#include "recognise/output/tracklist_writer.h"

namespace tarn::recognise {

class CueWriter : public TracklistWriter {
  public:
    static constexpr int kMaxTracks = 99;

    CueWriter(std::string file, std::ostream& out);

    void begin() override;
    void add(const Entry& entry) override;
    uint64_t leftOut() const override { return leftOut_; }

  private:
    std::string file_;
    std::ostream& out_;
    int tracks_ = 0;
    int64_t lastFrame_ = -1; // where the last track starts, in 1/75 s
    uint64_t leftOut_ = 0;
};

} // namespace tarn::recognise
