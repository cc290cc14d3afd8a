// SPDX-License-Identifier: Apache-2.0
#include "cases/case_run.h"

#include "cases/recipes.h"
#include "cases/request_fields.h"
#include "cases/scripted_answer.h"
#include "e2e/tool.h"
#include "support/access_keys.h"
#include "support/handles.h"
#include "support/raw_client.h"

#include <csignal>
#include <ctime>
#include <filesystem>
#include <sstream>

namespace kvxtest {

namespace {

bool isExpectation(const std::string& line) {
    return line.size() == 1
               ? std::string_view(">!@=").find(line[0]) != std::string_view::npos
               : line.starts_with("> ") || line.starts_with("! ") || line.starts_with("@ ") || line.starts_with("= ");
}

void replaceAll(std::string& text, const std::string& from, const std::string& to) {
    for (size_t at = 0; (at = text.find(from, at)) != std::string::npos; at += to.size()) {
        text.replace(at, from.size(), to);
    }
}

// The length of the character at the beginning of text; 0 where its bytes are no UTF-8.
size_t characterLength(std::string_view text) {
    const auto first = static_cast<uint8_t>(text[0]);
    const size_t length = first < 0x80 ? 1 : first >= 0xf0 ? 4 : first >= 0xe0 ? 3 : first >= 0xc2 ? 2 : 0;
    if (length == 0 || text.size() < length) return 0;
    for (size_t i = 1; i < length; ++i) {
        if ((static_cast<uint8_t>(text[i]) & 0xc0) != 0x80) return 0;
    }
    return length;
}

// Control characters, and bytes that are no UTF-8, as escapes.
std::string printable(std::string_view text) {
    std::string shown;
    while (!text.empty()) {
        const size_t length = characterLength(text);
        const auto byte = static_cast<uint8_t>(text[0]);
        if (text[0] == '\t') {
            shown += "\\t";
        } else if (length == 0 || byte < 0x20 || byte == 0x7f) {
            char escape[8];
            std::snprintf(escape, sizeof escape, "\\x%02x", byte);
            shown += escape;
        } else {
            shown.append(text.substr(0, length));
        }
        text.remove_prefix(std::max<size_t>(length, 1));
    }
    if (shown.ends_with(' ')) shown.replace(shown.size() - 1, 1, "\\x20"); // editors remove it
    return shown;
}

std::string folderOf(const std::string& program) { return std::filesystem::path(program).parent_path().string(); }

} // namespace

CaseRun::CaseRun() : placeholders_(folder_.path().string()) {}

std::string CaseRun::rewritten(const std::string& text) {
    std::istringstream in(text);
    int number = 0;
    for (std::string line; std::getline(in, line);) {
        ++number;
        if (isExpectation(line)) continue;
        try {
            if (!answerHead_.empty()) {
                if (line.starts_with("  ")) {
                    answerRecords_.push_back(wordsOf(line));
                } else {
                    addAnswer();
                }
            }
            result_ += line + "\n";
            act(line);
        } catch (const std::exception& error) {
            throw CaseError("line " + std::to_string(number) + ": " + error.what());
        }
    }
    if (service_) throw CaseError("the service is not stopped at the end");
    if (!answers_.empty() || !answerHead_.empty()) throw CaseError("no command comes after the last answer");
    return result_;
}

void CaseRun::act(const std::string& line) {
    if (line.starts_with("$ ")) return runCommand(line.substr(2));
    const std::string verb = line.substr(0, line.find(' '));
    if (verb != "make" && verb != "key" && verb != "answer" && verb != "serve" && verb != "get" && verb != "stop" &&
        verb != "hide" && verb != "fields") {
        if (line.empty() || line[0] == '#' || line[0] == ' ') return;
        throw CaseError("\"" + verb + "\" is nothing that a case does; a comment begins with #");
    }
    const Words words = wordsOf(line);
    if (verb == "make") return make(folder_.path() / words.at(1), Words(words.begin() + 2, words.end()));
    if (verb == "key") return setKey(words);
    if (verb == "answer") answerHead_.assign(words.begin() + 1, words.end());
    if (verb == "serve") return serve(words);
    if (verb == "get") return get(words.at(1));
    if (verb == "stop") return stop();
    if (verb == "fields") showsFields_ = true;
    if (verb == "hide") placeholders_.hide(words.at(1), words.at(2));
}

void CaseRun::addAnswer() {
    answers_.push_back(scriptOf(answerHead_, answerRecords_));
    answerHead_.clear();
    answerRecords_.clear();
}

void CaseRun::setKey(const Words& words) {
    Settings settings(words, 2);
    const std::string code = accessCode(static_cast<int>(settings.number("encryption", 3)),
                                        static_cast<int>(settings.number("checksum", 3)));
    std::string text = settings.text("text", "{then}:{code}");
    const std::time_t now = std::time(nullptr);
    replaceAll(text, "{now}", std::to_string(now));
    replaceAll(text, "{then}", std::to_string(now - settings.number("old", 0)));
    replaceAll(text, "{code}", code);
    const Bytes cipher = settings.has("under") ? Bytes(32, fromHex(settings.text("under")).at(0)) : cipherKey();
    settings.expectNoOther();
    keys_[words.at(1)] = accessKeyOf(text, cipher);
    placeholders_.hideText(words.at(1), keys_[words.at(1)]);
}

#ifdef TARN_SERVER_TOOL
void CaseRun::serve(const Words& words) {
    Words command = {"env", "-C", folder_.path().string(), TARN_SERVER_TOOL, "serve", "--listen", "127.0.0.1:0"};
    command.insert(command.end(), words.begin() + 1, words.end());
    service_ = std::make_unique<ServiceProcess>(command);
    write(">", service_->firstLine() + "\n");
    if (!service_->firstLine().empty()) return;
    stop();
}
#else
void CaseRun::serve(const Words& /*words*/) { throw CaseError("this build has no server"); }
#endif

void CaseRun::get(const std::string& path) {
    if (!service_) throw CaseError("no service runs");
    const HttpAnswer answer = exchange(service_->port(), getOf(path));
    write(">", std::to_string(answer.status) + "\n" + answer.body);
}

void CaseRun::stop() {
    if (!service_) throw CaseError("no service runs");
    service_->terminate();
    const int status = service_->wait();
    write("!", service_->log());
    writeStatus(status);
    service_.reset();
}

Words CaseRun::environment(const std::string& host) const {
    Words words = {"env", "-C", folder_.path().string(), "-u", "XDG_STATE_HOME", "-u", "STATE_DIRECTORY"};
    std::string path = folderOf(TARN_TOOL);
#ifdef TARN_SERVER_TOOL
    path += ":" + folderOf(TARN_SERVER_TOOL) + ":" + folderOf(TARN_RECOGNISE_TOOL);
#endif
    words.insert(words.end(), {"PATH=" + path + ":/usr/bin:/bin", "HOME=" + folder_.path().string(), "LC_ALL=C",
                               "KEY=" + accessKeyFor(accessCode(3, 3)), "HOST=" + host});
    for (const auto& [name, key] : keys_) words.push_back(name + "=" + key);
    return words;
}

void CaseRun::runCommand(const std::string& command) {
    std::unique_ptr<LoopbackServer> server;
    std::string host = service_ ? service_->address() : "h";
    if (!answers_.empty()) {
        server = std::make_unique<LoopbackServer>(std::exchange(answers_, {}));
        host = server->host();
    }
    Words words = environment(host);
    words.insert(words.end(), {"/bin/sh", "-c", command});
    const Ended ended = runProgram(words);
    write(">", ended.out);
    write("!", ended.err);
    if (server) {
        const std::string device = deviceId().value_or("");
        for (const Bytes& request : server->requests()) {
            for (const std::string& line : requestFields(request, device, showsFields_)) write("@", line + "\n");
        }
    }
    writeStatus(ended.status);
}

void CaseRun::write(std::string_view lead, std::string text) {
    text = placeholders_.applied(std::move(text));
    while (!text.empty()) {
        const size_t end = text.find('\n');
        const std::string line = printable(std::string_view(text).substr(0, end));
        result_.append(lead).append(line.empty() ? "" : " " + line);
        result_.append(end == std::string::npos ? " (no line end)\n" : "\n");
        text.erase(0, end == std::string::npos ? end : end + 1);
    }
}

void CaseRun::writeStatus(int status) { result_ += "= " + std::to_string(status) + "\n"; }

} // namespace kvxtest
