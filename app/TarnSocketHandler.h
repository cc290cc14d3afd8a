// SPDX-License-Identifier: Apache-2.0
// An exchange over a pair of byte streams, driven by their events: writes a request, collects the response. The tool
// sends its requests through URL loading instead; this class is for callers that have streams.
#pragma once

#include "platform/byte_streams.h"
#include "platform/bytes.h"
#include "platform/log.h"

#include <array>
#include <cstdint>
#include <memory>
#include <optional>

namespace tarn {

class TarnSocketHandler : public StreamDelegate {
  public:
    TarnSocketHandler(Bytes request, std::shared_ptr<OutputStream> os, std::shared_ptr<InputStream> is, Log& log);
    TarnSocketHandler(const TarnSocketHandler&) = delete;
    TarnSocketHandler& operator=(const TarnSocketHandler&) = delete;
    // Releases the error once, however often it was retained.
    ~TarnSocketHandler() override;

    void handleEvent(Stream& stream, uint32_t code) override;

    const Bytes& request() const { return request_; }
    // Nothing before the first bytes were read.
    const std::optional<Bytes>& response() const { return response_; }
    void setResponse(std::optional<Bytes> response) { response_ = std::move(response); }
    RetainedError* error() const { return error_; }
    // Retains the new error and releases the old one.
    void setError(RetainedError* error);
    // 1 when the exchange has ended, well or not.
    char finished() const { return finished_; }
    void setFinished(char finished) { finished_ = finished; }

  private:
    void readSome();
    void writeSome();
    void fail(const Stream& stream);

    char finished_ = 0;
    RetainedError* error_ = nullptr;
    Bytes request_;
    std::optional<Bytes> response_;
    std::shared_ptr<InputStream> is_;
    std::shared_ptr<OutputStream> os_;
    std::array<uint8_t, 4096> buf_{}; // for both directions
    uint32_t writepos_ = 0;           // request bytes handed to the output stream
    Log& log_;
};

} // namespace tarn
