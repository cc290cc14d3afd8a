// SPDX-License-Identifier: Apache-2.0
// The body of a request: a multipart form whose part "data" is the packet. Parsed as it arrives, never kept beyond the
// limit.
#pragma once

#include <cstddef>
#include <string>

struct MHD_Connection;
struct MHD_PostProcessor;

namespace tarn::server {

class FormBody {
  public:
    enum class State { kComplete, kNoForm, kNoPacket, kTooLarge };

    FormBody(MHD_Connection* connection, size_t mostBytes);
    ~FormBody();
    FormBody(const FormBody&) = delete;
    FormBody& operator=(const FormBody&) = delete;

    void add(const char* bytes, size_t count);
    // Ends the form; then packet() may be taken.
    State finish();
    std::string& packet() { return packet_; }

  private:
    friend struct FormBodyAccess;

    MHD_PostProcessor* parser_; // null: the request announces no multipart form
    const size_t mostBytes_;
    std::string packet_;
    bool wellFormed_ = true;
    bool tooLarge_ = false;
    bool sawPacket_ = false;
};

} // namespace tarn::server
