// SPDX-License-Identifier: Apache-2.0
#include "base/standard_streams.h"

#include "base/descriptor_stream.h"

#include <cstring>
#include <exception>
#include <unistd.h>

namespace tarn::server {

namespace {

int guarded(const std::function<int(std::ostream&, std::ostream&)>& run, std::ostream& out, std::ostream& err) {
    try {
        return run(out, err);
    } catch (const std::exception& error) {
        err << error.what() << '\n';
        return 1;
    }
}

} // namespace

int runWithStandardStreams(const std::function<int(std::ostream& out, std::ostream& err)>& run) {
    DescriptorStream out(STDOUT_FILENO);
    DescriptorStream err(STDERR_FILENO);
    err << std::unitbuf;
    const int status = guarded(run, out, err);
    out.flush();
    if (out.failure() != 0) err << "standard output cannot be written: " << std::strerror(out.failure()) << '\n';
    return status == 0 && (out.failure() != 0 || err.failure() != 0) ? kOutputLost : status;
}

} // namespace tarn::server
