// SPDX-License-Identifier: Apache-2.0
// Runs the built tool as a user would, and takes apart what it writes.
#pragma once

#include "support/hex.h"
#include "support/loopback_server.h"
#include "support/process.h"
#include "support/wav_maker.h"

#include <optional>
#include <string>
#include <vector>

namespace kvxtest {

// The words of its command line. program: another build of the tool; empty for the one that is installed.
std::vector<std::string> toolWords(const std::vector<std::string>& arguments, const std::string& program = {});
Ended runTool(const std::vector<std::string>& arguments, const std::string& program = {});

// The texts of the log lines in what the tool wrote to standard error. A test failure where a line does not begin as a
// log line must; lines that continue an entry are part of its text.
std::vector<std::string> logTexts(const std::string& errors);

// A fresh access key for the account that all tests use.
std::string freshKey(int encryptionMethod = 3, int checksumMethod = 3, int64_t secondsOld = 0);

// The name of a file with so much music, made once per process and setting.
std::string soundFile(const WavOptions& options = {});
// A name in the directory that soundFile uses.
std::string scratchFile(const std::string& name);

// What the machine's interfaces make the tool identify itself with.
std::optional<std::string> deviceId();

// A server's script: receive the request, send this, close.
Script answering(const std::string& answer);

// Recognises the default sound file at a server of these scripts.
struct Recognition {
    Ended result;
    std::vector<std::string> log;
    std::vector<Bytes> requests;
    std::string host;
};
Recognition recognise(std::vector<Script> scripts, const std::string& path = soundFile());

} // namespace kvxtest
