// SPDX-License-Identifier: Apache-2.0
#include "catalogue/redis/link.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/socket.h>

namespace tarn::server::redis {

namespace {

// The parser moves what it has not read yet with every reply: a larger piece costs more than the calls it saves.
constexpr size_t kPieceBytes = size_t{64} * 1024;

bool isForLater(int error) { return error == EAGAIN || error == EWOULDBLOCK || error == EINTR; }

} // namespace

Link::Link(const Address& address) : context_(redisConnectNonBlock(address.host.c_str(), address.port)) {
    if (!context_ || context_->err != 0) {
        over(context_ ? context_->errstr : "no memory");
        return;
    }
    ::fcntl(descriptor(), F_SETFD, FD_CLOEXEC);
    redisEnableKeepAlive(context_.get()); // between look-ups it may be idle for long
}

bool Link::over(std::string why) {
    trouble_ = std::move(why);
    context_.reset();
    return false;
}

bool Link::send() {
    if (!context_) return false;
    while (hasUnsent()) {
        const ssize_t count = ::send(descriptor(), unsent_.data() + sent_, unsent_.size() - sent_, MSG_NOSIGNAL);
        if (count < 0) return isForLater(errno) || over(std::strerror(errno));
        sent_ += static_cast<size_t>(count);
    }
    unsent_.clear();
    sent_ = 0;
    return true;
}

bool Link::receive() {
    if (!context_) return false;
    std::array<char, kPieceBytes> piece;
    const ssize_t count = ::recv(descriptor(), piece.data(), piece.size(), 0);
    if (count < 0) return isForLater(errno) || over(std::strerror(errno));
    if (count == 0) return over("it closed the connection");
    redisReaderFeed(context_->reader, piece.data(), static_cast<size_t>(count));
    return true;
}

Reply Link::take() {
    void* reply = nullptr;
    if (context_ && redisReaderGetReply(context_->reader, &reply) != REDIS_OK) {
        over(std::string("it does not speak the Redis protocol: ") + context_->reader->errstr);
    }
    return Reply(static_cast<redisReply*>(reply));
}

} // namespace tarn::server::redis
