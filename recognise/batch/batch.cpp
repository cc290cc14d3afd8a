// SPDX-License-Identifier: Apache-2.0
#include "recognise/batch/batch.h"

#include "base/reason.h"
#include "base/text.h"
#include "recognise/asking/server_asker.h"
#include "recognise/files/probe.h"

namespace tarn::recognise {

Batch::Batch(const std::vector<InputFile>& inputs, std::span<server::MediaProcess> processes, MakeAsker makeAsker,
             AnswerCache* cache)
    : inputs_(inputs), makeAsker_(std::move(makeAsker)), cache_(cache) {
    threads_.reserve(processes.size());
    for (server::MediaProcess& process : processes) threads_.emplace_back([this, &process] { work(process); });
}

Batch::~Batch() {
    {
        const std::lock_guard lock(mutex_);
        ending_ = true;
    }
    room_.notify_all();
    for (std::thread& thread : threads_) thread.join();
}

std::optional<FileResult> Batch::next(std::chrono::steady_clock::time_point until) {
    std::unique_lock lock(mutex_);
    const auto isThere = [&] { return results_.contains(nextResult_); };
    if (!done_.wait_until(lock, until, isThere)) return std::nullopt;
    FileResult result = std::move(results_.extract(nextResult_).mapped());
    ++nextResult_;
    room_.notify_all();
    return result;
}

std::optional<size_t> Batch::takeFile() {
    std::unique_lock lock(mutex_);
    room_.wait(lock, [&] { return ending_ || nextFile_ == inputs_.size() || nextFile_ < nextResult_ + kAhead; });
    if (ending_ || nextFile_ == inputs_.size()) return std::nullopt;
    return nextFile_++;
}

void Batch::work(server::MediaProcess& process) {
    std::unique_ptr<Asker> asker;
    while (const std::optional<size_t> place = takeFile()) {
        const InputFile& input = inputs_[*place];
        FileResult result = resultOf(input, process, asker);
        result.path = input.name;
        {
            const std::lock_guard lock(mutex_);
            results_.emplace(*place, std::move(result));
        }
        done_.notify_all();
    }
}

FileResult Batch::resultOf(const InputFile& input, server::MediaProcess& process, std::unique_ptr<Asker>& asker) {
    try {
        if (!input.problem.empty()) return failedResult(FileError::kNotFound, server::cleanText(input.problem));
        const FileIdentity identity{input.path.string(), input.bytes, input.modifiedNs};
        if (cache_ != nullptr) {
            if (std::optional<FileResult> known = cache_->resultOf(identity)) {
                known->fromCache = true;
                return std::move(*known);
            }
        }
        FileResult result = ask(input, process, asker);
        if (cache_ != nullptr) cache_->keep(identity, result);
        return result;
    } catch (const std::exception& error) {
        return failedResult(FileError::kUnreadable, server::reasonOf(error));
    }
}

FileResult Batch::ask(const InputFile& input, server::MediaProcess& process, std::unique_ptr<Asker>& asker) {
    {
        const std::lock_guard lock(mutex_);
        if (refused_ || failures_ >= kMaxFailures) {
            return failedResult(FileError::kNotAsked,
                                "not asked: the server failed before; run this again, answers so far "
                                "are kept");
        }
    }
    try {
        if (!asker) asker = makeAsker_();
        FileResult result = recogniseFile(input.path, process, *asker);
        const std::lock_guard lock(mutex_);
        if (result.status != FileStatus::kError) failures_ = 0;
        return result;
    } catch (const Refused& error) {
        const std::lock_guard lock(mutex_);
        refused_ = true;
        return failedResult(FileError::kServer, error.what());
    } catch (const NoAnswer& error) {
        const std::lock_guard lock(mutex_);
        ++failures_;
        return failedResult(FileError::kServer, error.what());
    }
}

} // namespace tarn::recognise
