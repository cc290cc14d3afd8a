// SPDX-License-Identifier: Apache-2.0
#include "audio/file_tags.h"

#include "audio/tag_stream.h"
#include "base/text.h"

#include <taglib/fileref.h>
#include <taglib/tag.h>
#include <taglib/tpropertymap.h>

namespace tarn::server {

namespace {

constexpr uint32_t kMaxNumber = 65535; // anything larger is rubbish

std::string text(const TagLib::String& value) { return cleanText(value.to8Bit(true)); }

uint32_t number(unsigned value) { return value <= kMaxNumber ? value : 0; }

} // namespace

Tags readTags(int descriptor, const std::string& name) {
    Tags tags;
    TagStream stream(descriptor, name);
    const TagLib::FileRef file(&stream, false);
    if (!file.isNull() && file.tag() != nullptr) {
        const TagLib::Tag& tag = *file.tag();
        tags.title = text(tag.title());
        tags.artist = text(tag.artist());
        tags.album = text(tag.album());
        const TagLib::PropertyMap properties = file.file()->properties();
        const auto albumArtist = properties.find("ALBUMARTIST");
        if (albumArtist != properties.end() && !albumArtist->second.isEmpty()) {
            tags.albumArtist = text(albumArtist->second.front());
        }
        tags.number = number(tag.track());
        tags.year = number(tag.year());
    }
    stream.expectGood();
    return tags;
}

} // namespace tarn::server
