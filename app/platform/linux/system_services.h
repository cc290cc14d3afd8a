// SPDX-License-Identifier: Apache-2.0
// The services of a Linux system, ready for a run.
#pragma once

#include "platform/linux/descriptor_output.h"
#include "platform/linux/http_client.h"
#include "platform/linux/line_log.h"
#include "platform/linux/nettle_cipher.h"
#include "platform/linux/system_clock.h"
#include "platform/linux/system_interfaces.h"
#include "platform/services.h"

#include <csignal>
#include <unistd.h>

namespace tarn {

class SystemServices {
  public:
    // A reader of the output or the log that goes away is a failure to write, not the end of the program.
    SystemServices() { std::signal(SIGPIPE, SIG_IGN); }
    Services& services() { return services_; }

  private:
    DescriptorOutput standardOutput_{STDOUT_FILENO};
    DescriptorOutput standardError_{STDERR_FILENO};
    SystemClock clock_;
    LineLog log_{standardError_, clock_};
    NettleCipher cipher_;
    SystemInterfaces interfaces_;
    HttpClient httpClient_;
    Services services_{log_, standardOutput_, clock_, cipher_, interfaces_, httpClient_};
};

} // namespace tarn
