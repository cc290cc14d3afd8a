// SPDX-License-Identifier: Apache-2.0
#include "http/form_body.h"

#include <cstring>
#include <microhttpd.h>
#include <string_view>
#include <strings.h>
#include <utility>

namespace tarn::server {

// What the parser calls for every piece of every part.
struct FormBodyAccess {
    static MHD_Result piece(void* self, MHD_ValueKind, const char* name, const char* /*fileName*/,
                            const char* /*contentType*/, const char* /*transferEncoding*/, const char* bytes,
                            uint64_t offset, size_t count) {
        auto& form = *static_cast<FormBody*>(self);
        if (name == nullptr || std::string_view(name) != "data") return MHD_YES; // other parts are ignored
        // A second part of that name would leave open which one is the packet. What comes after it changes nothing any
        // more: how much of it is still parsed depends on the pieces in which the body arrives.
        if (offset == 0 && !form.packet_.empty()) form.wellFormed_ = false;
        if (!form.wellFormed_) return MHD_YES;
        form.sawPacket_ = true;
        if (form.packet_.size() + count > form.mostBytes_) {
            form.tooLarge_ = true;
            form.packet_.clear();
        }
        if (!form.tooLarge_) form.packet_.append(bytes, count);
        return MHD_YES;
    }
};

namespace {

constexpr std::string_view kFormType = "multipart/form-data";
constexpr size_t kParserBytes = 4096;

bool announcesForm(MHD_Connection* connection) {
    const char* type = MHD_lookup_connection_value(connection, MHD_HEADER_KIND, MHD_HTTP_HEADER_CONTENT_TYPE);
    return type != nullptr && strncasecmp(type, kFormType.data(), kFormType.size()) == 0;
}

} // namespace

FormBody::FormBody(MHD_Connection* connection, size_t mostBytes)
    : parser_(announcesForm(connection)
                  ? MHD_create_post_processor(connection, kParserBytes, &FormBodyAccess::piece, this)
                  : nullptr),
      mostBytes_(mostBytes) {}

FormBody::~FormBody() {
    if (parser_ != nullptr) MHD_destroy_post_processor(parser_);
}

void FormBody::add(const char* bytes, size_t count) {
    if (parser_ != nullptr && wellFormed_ && MHD_post_process(parser_, bytes, count) != MHD_YES) wellFormed_ = false;
}

FormBody::State FormBody::finish() {
    if (parser_ == nullptr) return State::kNoForm;
    if (MHD_destroy_post_processor(std::exchange(parser_, nullptr)) != MHD_YES) wellFormed_ = false;
    if (tooLarge_) return State::kTooLarge;
    if (!wellFormed_) return State::kNoForm;
    return sawPacket_ ? State::kComplete : State::kNoPacket;
}

} // namespace tarn::server
