// SPDX-License-Identifier: Apache-2.0
#include "support/service_process.h"

#include <fcntl.h>
#include <stdexcept>
#include <unistd.h>
#include <utility>

namespace kvxtest {

ServiceProcess::Pipe::Pipe() {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) throw std::runtime_error("no pipe");
    reader = ends[0];
    writer = ends[1];
}

ServiceProcess::Pipe::~Pipe() {
    closeWriter();
    close(reader);
}

void ServiceProcess::Pipe::closeWriter() {
    if (writer >= 0) close(writer);
    writer = -1;
}

ServiceProcess::ServiceProcess(std::vector<std::string> words)
    : process_(std::move(words), {output_.writer, log_.descriptor()}) {
    output_.closeWriter();
    char byte = 0;
    while (read(output_.reader, &byte, 1) == 1 && byte != '\n') firstLine_ += byte;
}

uint16_t ServiceProcess::port() const {
    return static_cast<uint16_t>(std::stoi(firstLine_.substr(firstLine_.rfind(':') + 1)));
}

} // namespace kvxtest
