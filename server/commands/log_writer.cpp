// SPDX-License-Identifier: Apache-2.0
#include "commands/log_writer.h"

#include "base/file_descriptor.h"

#include <condition_variable>
#include <deque>
#include <string>

namespace tarn::server {

struct LogWriter::Shared {
    std::mutex mutex;
    std::condition_variable changed;
    std::deque<std::string> lines;
    bool writing = false; // a line that is no longer in lines
    bool ending = false;
    bool ended = false;

    void write(int descriptor);
};

void LogWriter::Shared::write(int descriptor) {
    std::unique_lock lock(mutex);
    for (;;) {
        changed.wait(lock, [this] { return ending || !lines.empty(); });
        if (lines.empty()) break;
        const std::string line = std::move(lines.front());
        lines.pop_front();
        writing = true;
        lock.unlock();
        writeAll(descriptor, line); // a line that cannot be written is lost: there is no one to tell
        lock.lock();
        writing = false;
        if (lines.empty()) changed.notify_all();
    }
    ended = true;
    changed.notify_all();
}

LogWriter::LogWriter(int descriptor, size_t mostWaiting, std::chrono::milliseconds lastLines)
    : mostWaiting_(mostWaiting), lastLines_(lastLines), shared_(std::make_shared<Shared>()),
      thread_([shared = shared_, descriptor] { shared->write(descriptor); }) {}

LogWriter::~LogWriter() {
    std::unique_lock lock(shared_->mutex);
    shared_->ending = true;
    shared_->changed.notify_all();
    const bool ended = shared_->changed.wait_for(lock, lastLines_, [this] { return shared_->ended; });
    lock.unlock();
    if (ended) {
        thread_.join();
    } else {
        thread_.detach();
    }
}

void LogWriter::sink_it_(const spdlog::details::log_msg& message) {
    spdlog::memory_buf_t text;
    formatter_->format(message, text);
    const std::lock_guard lock(shared_->mutex);
    if (shared_->lines.size() >= mostWaiting_) shared_->lines.pop_front();
    shared_->lines.emplace_back(text.data(), text.size());
    shared_->changed.notify_all();
}

void LogWriter::flush_() {
    std::unique_lock lock(shared_->mutex);
    shared_->changed.wait_for(lock, lastLines_, [this] { return shared_->lines.empty() && !shared_->writing; });
}

} // namespace tarn::server
