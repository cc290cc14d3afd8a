// SPDX-License-Identifier: Apache-2.0
#include "TarnSocketHandler.h"

#include <algorithm>
#include <utility>

namespace tarn {

TarnSocketHandler::TarnSocketHandler(Bytes request, std::shared_ptr<OutputStream> os, std::shared_ptr<InputStream> is,
                                     Log& log)
    : request_(std::move(request)), is_(std::move(is)), os_(std::move(os)), log_(log) {}

TarnSocketHandler::~TarnSocketHandler() { setError(nullptr); }

void TarnSocketHandler::setError(RetainedError* error) {
    if (error != nullptr) error->retain();
    if (error_ != nullptr) error_->release();
    error_ = error;
}

void TarnSocketHandler::handleEvent(Stream& stream, uint32_t code) {
    switch (code) {
    case kStreamOpenCompleted:
        log_.write("Open Completed");
        break;
    case kStreamBytesAvailable:
        if (&stream == is_.get()) readSome();
        break;
    case kStreamSpaceAvailable:
        if (&stream == os_.get()) writeSome();
        break;
    case kStreamErrorOccurred:
        fail(stream);
        break;
    case kStreamEndEncountered:
        finished_ = 1;
        break;
    default:
        break;
    }
    // The handler retains its error again on every later event, on purpose: an error that n events have seen outlives
    // the handler with n - 1 retains.
    if (error_ != nullptr) error_->retain();
}

void TarnSocketHandler::readSome() {
    if (!response_) response_.emplace();
    const int64_t count = is_->read(buf_.data(), buf_.size());
    if (count > 0) {
        response_->insert(response_->end(), buf_.begin(), buf_.begin() + count);
    } else if (count < 0) {
        fail(*is_);
    }
}

void TarnSocketHandler::writeSome() {
    const size_t chunk = std::min(request_.size() - writepos_, buf_.size());
    if (chunk == 0) return;
    std::copy_n(request_.begin() + writepos_, chunk, buf_.begin());
    if (os_->write(buf_.data(), chunk) < 0) {
        fail(*os_);
        return;
    }
    // By the whole chunk, even after a short write: the rest of that chunk is never sent.
    writepos_ += static_cast<uint32_t>(chunk);
}

void TarnSocketHandler::fail(const Stream& stream) {
    error_ = stream.streamError(); // retained at the end of the event
    finished_ = 1;
}

} // namespace tarn
