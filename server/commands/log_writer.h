// SPDX-License-Identifier: Apache-2.0
// The log's lines on their way to a descriptor whose reader may be slow, or may have stopped.
#pragma once

#include <chrono>
#include <cstddef>
#include <memory>
#include <mutex>
#include <spdlog/sinks/base_sink.h>
#include <thread>

namespace tarn::server {

// Lines wait in a bounded queue, the oldest giving way, for a thread that writes them: a reader costs lines, never
// requests and never the end of the service.
class LogWriter final : public spdlog::sinks::base_sink<std::mutex> {
  public:
    explicit LogWriter(int descriptor, size_t mostWaiting = 8192,
                       std::chrono::milliseconds lastLines = std::chrono::seconds(1));
    // The lines that still wait have the time of lastLines to be written. A thread that hangs in a write is left alone
    // with what it needs, until the process ends.
    ~LogWriter() override;
    LogWriter(const LogWriter&) = delete;
    LogWriter& operator=(const LogWriter&) = delete;

  protected:
    void sink_it_(const spdlog::details::log_msg& message) override;
    // Waits until what was logged before is written, at most for the time of lastLines.
    void flush_() override;

  private:
    struct Shared;

    const size_t mostWaiting_;
    const std::chrono::milliseconds lastLines_;
    std::shared_ptr<Shared> shared_;
    std::thread thread_;
};

} // namespace tarn::server
