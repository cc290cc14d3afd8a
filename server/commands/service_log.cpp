// SPDX-License-Identifier: Apache-2.0
#include "commands/service_log.h"

#include "commands/log_writer.h"

#include <spdlog/pattern_formatter.h>
#include <string>
#include <string_view>
#include <sys/stat.h>

namespace tarn::server {

namespace {

// The priorities of syslog, as the journal reads them at the beginning of a line.
std::string_view priorityOf(spdlog::level::level_enum level) {
    switch (level) {
    case spdlog::level::critical:
        return "<2>";
    case spdlog::level::err:
        return "<3>";
    case spdlog::level::warn:
        return "<4>";
    case spdlog::level::info:
        return "<6>";
    default:
        return "<7>";
    }
}

class PriorityFlag final : public spdlog::custom_flag_formatter {
  public:
    void format(const spdlog::details::log_msg& message, const std::tm& /*time*/, spdlog::memory_buf_t& out) override {
        const std::string_view priority = priorityOf(message.level);
        out.append(priority.data(), priority.data() + priority.size());
    }
    std::unique_ptr<custom_flag_formatter> clone() const override { return std::make_unique<PriorityFlag>(); }
};

} // namespace

bool isJournal(int descriptor, const char* journalStream) {
    struct stat status {};
    if (journalStream == nullptr || fstat(descriptor, &status) != 0) return false;
    return std::to_string(status.st_dev) + ":" + std::to_string(status.st_ino) == journalStream;
}

std::shared_ptr<spdlog::logger> makeServiceLog(int descriptor, bool toJournal) {
    auto log = std::make_shared<spdlog::logger>("tarn-server", std::make_shared<LogWriter>(descriptor));
    auto formatter = std::make_unique<spdlog::pattern_formatter>(spdlog::pattern_time_type::utc);
    formatter->add_flag<PriorityFlag>('*');
    formatter->set_pattern(toJournal ? "%*%l %v" : "%Y-%m-%dT%H:%M:%S.%eZ %l %v");
    log->set_formatter(std::move(formatter));
    return log;
}

const char* errorPrefix(bool toJournal) { return toJournal ? priorityOf(spdlog::level::err).data() : ""; }

} // namespace tarn::server
