// SPDX-License-Identifier: Apache-2.0
// Runs a case and writes down what happened.
//
// A case is read from top to bottom, in a folder of its own. Lines that begin with a word or with "$" do something:
//
//   make NAME RECIPE ...     makes a file (cases/recipes.h)
//   key NAME [SETTING ...]   sets a variable to an access key: old=SECONDS encryption=N checksum=N, or text="...",
//   where
//                            {now} and {code} are the time and the access code of $KEY
//   answer ...               what the scripted server answers the next command (cases/scripted_answer.h); $HOST is its
//                            address, and $KEY a fresh key
//   serve ARGUMENT ...       starts tarn-server serve on a free port; $HOST is its address
//   get PATH                 asks the service
//   stop                     ends the service with a signal
//   hide NAME PATTERN        shows what matches as <NAME> from here on
//   fields                   shows every field of the requests from here on
//   $ COMMAND                runs a line of the shell, where tarn, tarn-server and tarn-recognise are those
//                            that were built
//
// Below such a line stands what came of it: "> " standard output, "! " standard error, "@ " what each request asked
// that the scripted server received, "= " the exit status. Other lines are comments.
#pragma once

#include "cases/placeholders.h"
#include "cases/words.h"
#include "support/loopback_server.h"
#include "support/process.h"
#include "support/service_process.h"
#include "support/temporary_directory.h"

#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace kvxtest {

class CaseRun {
  public:
    CaseRun();

    // The case as it should be: its own lines, and below each what came of it.
    std::string rewritten(const std::string& text);

  private:
    void act(const std::string& line);
    void addAnswer();
    void setKey(const Words& words);
    void serve(const Words& words);
    void get(const std::string& path);
    void stop();
    void runCommand(const std::string& command);

    void write(std::string_view lead, std::string text);
    void writeStatus(int status);
    Words environment(const std::string& host) const;

    TemporaryDirectory folder_;
    Placeholders placeholders_;
    std::map<std::string, std::string> keys_;
    Words answerHead_; // of the answer whose records are being read; empty: none
    std::vector<Words> answerRecords_;
    std::vector<Script> answers_;
    bool showsFields_ = false;
    std::unique_ptr<ServiceProcess> service_;
    std::string result_;
};

} // namespace kvxtest
