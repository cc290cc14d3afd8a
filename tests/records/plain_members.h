// SPDX-License-Identifier: Apache-2.0
// How the structs of kvx.h and the plain codec's records correspond: every member in the order of the field indexes.
// Told once for each struct, to whoever asks: the reader of a struct, or its maker.
#pragma once

#include "kvx.h"
#include "support/plain_codec.h"

#include <cstring>
#include <gtest/gtest.h>

namespace kvxtest::plain {

template <class M>
void members(M& m, ValuePair& r) {
    m.texts(r.id, r.value);
}
template <class M>
void members(M& m, ValuePairYOMI& r) {
    m.texts(r.propertyId, r.property, r.valueId, r.value);
}
template <class M>
void members(M& m, Credit& r) {
    m.texts(r.text1, r.text2, r.text3, r.text5, r.text6, r.text4);
}
template <class M>
void members(M& m, NumValuePair& r) {
    m.number(r.number);
    m.texts(r.value);
}
template <class M>
void members(M& m, Release& r) {
    m.texts(r.text1, r.text2, r.text4, r.text3);
}
template <class M>
void members(M& m, TrackDescriptor& r) {
    m.texts(r.text0, r.text1);
    m.number(r.short2);
    m.texts(r.text3);
}
template <class M>
void members(M& m, CTrackData& r) {
    m.texts(r.text0, r.text1);
    m.list(r.yomiList2, r.yomiList2Count);
    m.texts(r.text3, r.text4);
}
template <class M>
void members(M& m, Track& r) {
    m.texts(r.trackId, r.title, r.text2);
    m.number(r.short3);
    m.number(r.short4);
    m.list(r.yomiList5, r.yomiList5Count);
    m.list(r.artists, r.artistCount);
    m.texts(r.text7, r.text8, r.text9, r.text10, r.text11);
    m.list(r.descriptors, r.descriptorCount);
    m.part(r.trackData);
    m.texts(r.text14);
    m.number(r.short15);
    m.number(r.short16);
    m.number(r.int17);
    m.texts(r.text18);
    m.number(r.short19);
    m.texts(r.text20);
    m.textArray(r.texts21, r.texts21Count);
    m.number(r.short22);
}
template <class M>
void members(M& m, TrackInfo& r) {
    m.texts(r.text0);
    m.number(r.short1);
    m.number(r.short2);
    m.texts(r.text3, r.text4, r.text5);
    m.list(r.yomiList6, r.yomiList6Count);
}
template <class M>
void members(M& m, TrackToAlbum& r) {
    m.list(r.trackInfos, r.trackInfoCount);
    m.part(r.album);
}
template <class M>
void members(M& m, ShortAlbum& r) {
    m.texts(r.text0, r.text1, r.text2, r.text3, r.text4, r.text5, r.text6, r.text7, r.text8);
    m.number(r.short9);
    m.number(r.short10);
    m.number(r.short11);
}
template <class M>
void members(M& m, CDMedia& r) {
    m.list(r.tracks, r.trackCount);
    m.number(r.short1);
    m.number(r.short2);
}
template <class M>
void members(M& m, CAlbumData& r) {
    m.texts(r.text0);
}
template <class M>
void members(M& m, Album& r) {
    m.texts(r.albumId, r.title, r.text2, r.text3, r.artist, r.text5);
    m.number(r.short6);
    m.number(r.short7);
    m.texts(r.text8, r.text9);
    m.part(r.valuePair10);
    m.number(r.short11);
    m.texts(r.text12);
    m.list(r.releases, r.releaseCount);
    m.list(r.credits, r.creditCount);
    m.list(r.media, r.mediaCount);
    m.list(r.valuePairs16, r.valuePairs16Count);
    m.list(r.valuePairs17, r.valuePairs17Count);
    m.list(r.shortAlbums, r.shortAlbumCount);
    m.texts(r.text19, r.text20);
    m.textArray(r.texts21, r.texts21Count);
    m.texts(r.text22);
    m.number(r.short23);
    m.list(r.valuePairs24, r.valuePairs24Count);
    m.part(r.albumData);
    m.texts(r.text26, r.text27);
    m.number(r.short28);
    m.number(r.confidence);
    m.number(r.short30);
    m.texts(r.text31, r.text32);
    m.withoutField(r.tarnAlbumId == nullptr && r.tarnArtistId == nullptr && r.attributes == nullptr &&
                   r.attributeCount == 0);
}
template <class M>
void members(M& m, ShortDVD& r) {
    m.texts(r.text0, r.text1, r.text2, r.text3);
}
template <class M>
void members(M& m, DVDChapter& r) {
    m.number(r.short0);
    m.number(r.short1);
    m.texts(r.text2);
    m.number(r.short3);
}
template <class M>
void members(M& m, DVDCast& r) {
    m.texts(r.text0, r.text1, r.text2, r.text3, r.text4);
}
template <class M>
void members(M& m, DVDDisc& r) {
    m.texts(r.text0, r.text1);
    m.number(r.short2);
    m.textArray(r.texts3, r.texts3Count);
    m.texts(r.text4, r.text5, r.text6);
    m.list(r.valuePairs7, r.valuePairs7Count);
    m.list(r.valuePairs8, r.valuePairs8Count);
    m.list(r.cast, r.castCount);
    m.texts(r.text10, r.text11, r.text12);
    m.list(r.valuePairs13, r.valuePairs13Count);
    m.texts(r.text14, r.text15, r.text16);
    m.number(r.short17);
    m.texts(r.text18, r.text19, r.text20);
    m.number(r.short21);
    m.number(r.short22);
    m.textArray(r.texts23, r.texts23Count);
    m.texts(r.text24, r.text25, r.text26);
    m.list(r.chapters27, r.chapters27Count);
    m.list(r.chapters28, r.chapters28Count);
    m.number(r.short29);
    m.list(r.valuePairs30, r.valuePairs30Count);
    m.textArray(r.texts31, r.texts31Count);
    m.list(r.shortDvds, r.shortDvdCount);
    m.texts(r.text33);
    m.number(r.short34);
    m.texts(r.text35, r.text36, r.text37);
}
template <class M>
void members(M& m, DVD& r) {
    m.texts(r.dvdId, r.title, r.text2);
    m.number(r.short3);
    m.list(r.discs, r.discCount);
    m.texts(r.text5);
}
template <class M>
void members(M& m, Performer& r) {
    m.number(r.short0);
    m.texts(r.text1, r.text2, r.text3, r.text4, r.text5);
    m.list(r.valuePairs6, r.valuePairs6Count);
    m.texts(r.text7);
    m.textArray(r.texts8, r.texts8Count);
    m.texts(r.text9, r.text10, r.text11, r.text12);
    m.list(r.shortAlbums, r.shortAlbumCount);
    m.textArray(r.texts14, r.texts14Count);
    m.list(r.yomiList15, r.yomiList15Count);
    m.list(r.yomiList16, r.yomiList16Count);
    m.texts(r.text17);
    m.list(r.yomiList18, r.yomiList18Count);
    m.list(r.yomiList19, r.yomiList19Count);
    m.list(r.valuePairs20, r.valuePairs20Count);
    m.texts(r.text21);
    m.number(r.short22);
    m.list(r.shortDvds, r.shortDvdCount);
    m.number(r.short24);
    m.texts(r.text25);
}

inline const RecordType& typeOf(const ValuePair&) { return kValuePair; }
inline const RecordType& typeOf(const ValuePairYOMI&) { return kValuePairYomi; }
inline const RecordType& typeOf(const Credit&) { return kCredit; }
inline const RecordType& typeOf(const NumValuePair&) { return kNumValuePair; }
inline const RecordType& typeOf(const Release&) { return kRelease; }
inline const RecordType& typeOf(const TrackDescriptor&) { return kTrackDescriptor; }
inline const RecordType& typeOf(const CTrackData&) { return kCTrackData; }
inline const RecordType& typeOf(const Track&) { return kTrack; }
inline const RecordType& typeOf(const TrackInfo&) { return kTrackInfo; }
inline const RecordType& typeOf(const TrackToAlbum&) { return kTrackToAlbum; }
inline const RecordType& typeOf(const ShortAlbum&) { return kShortAlbum; }
inline const RecordType& typeOf(const CDMedia&) { return kCDMedia; }
inline const RecordType& typeOf(const CAlbumData&) { return kCAlbumData; }
inline const RecordType& typeOf(const Album&) { return kAlbum; }
inline const RecordType& typeOf(const ShortDVD&) { return kShortDvd; }
inline const RecordType& typeOf(const DVDChapter&) { return kDvdChapter; }
inline const RecordType& typeOf(const DVDCast&) { return kDvdCast; }
inline const RecordType& typeOf(const DVDDisc&) { return kDvdDisc; }
inline const RecordType& typeOf(const DVD&) { return kDvd; }
inline const RecordType& typeOf(const Performer&) { return kPerformer; }

// What a struct holds. For one that the library has loaded, which never has a text object of no bytes.
class MemberReader {
  public:
    template <class Struct>
    static Record read(Struct& record) {
        MemberReader reader;
        members(reader, record);
        return {&typeOf(record), std::move(reader.values_)};
    }

    template <class... Texts>
    void texts(Texts*... all) {
        (text(all), ...);
    }
    template <class Number>
    void number(Number number) {
        values_.emplace_back(number);
    }
    void textArray(const KVXValueLength* texts, uint16_t count) {
        std::vector<std::string> read;
        for (uint16_t i = 0; i < count; ++i) read.push_back(textOf(texts[i]));
        EXPECT_EQ(texts == nullptr, count == 0);
        values_.emplace_back(std::move(read));
    }
    template <class Struct>
    void list(Struct* elements, uint16_t count) {
        List list;
        for (uint16_t i = 0; i < count; ++i) list.elements.push_back(read(elements[i]));
        EXPECT_EQ(elements == nullptr, count == 0);
        values_.emplace_back(std::move(list));
    }
    template <class Struct>
    void part(Struct* record) {
        Part part;
        if (record != nullptr) part.record.push_back(read(*record));
        values_.emplace_back(std::move(part));
    }
    static void withoutField(bool isEmpty) { EXPECT_TRUE(isEmpty); }

  private:
    void text(const KVXValueLength* text) {
        EXPECT_TRUE(text == nullptr || text->length != 0);
        values_.emplace_back(text == nullptr ? std::string() : textOf(*text));
    }
    // An element after a failed one has no bytes at all.
    static std::string textOf(const KVXValueLength& text) {
        if (text.data == nullptr) {
            EXPECT_EQ(text.length, 0U);
            return {};
        }
        EXPECT_EQ(text.data[text.length], 0);
        return {text.data, text.length};
    }

    std::vector<Value> values_;
};

// Fills a zeroed struct with memory from the hooks. Empty texts become null, and objects of no bytes, by turns.
class MemberMaker {
  public:
    template <class Struct>
    static void fill(Struct& into, const Record& from) {
        MemberMaker maker(from);
        members(maker, into);
    }

    template <class... Texts>
    void texts(Texts*&... all) {
        (text(all), ...);
    }
    template <class Number>
    void number(Number& number) {
        number = next<Number>();
    }
    void textArray(KVXValueLength*& texts, uint16_t& count) {
        const auto& from = next<std::vector<std::string>>();
        allocate(texts, count, from.size());
        for (size_t i = 0; i < from.size(); ++i) texts[i] = bytesOfText(from[i]);
    }
    template <class Struct>
    void list(Struct*& elements, uint16_t& count) {
        const auto& from = next<List>().elements;
        allocate(elements, count, from.size());
        for (size_t i = 0; i < from.size(); ++i) fill(elements[i], from[i]);
    }
    template <class Struct>
    void part(Struct*& record) {
        const auto& from = next<Part>().record;
        uint16_t count = 0;
        allocate(record, count, from.size());
        if (count != 0) fill(*record, from.front());
    }
    static void withoutField(bool /*isEmpty*/) {}

  private:
    explicit MemberMaker(const Record& from) : from_(from) {}

    template <class Kind>
    const Kind& next() {
        return std::get<Kind>(from_.fields.at(at_++));
    }
    template <class Struct>
    static void allocate(Struct*& elements, uint16_t& count, size_t wanted) {
        count = static_cast<uint16_t>(wanted);
        if (wanted == 0) return;
        elements = static_cast<Struct*>(KVXMalloc(wanted * sizeof(Struct)));
        std::memset(static_cast<void*>(elements), 0, wanted * sizeof(Struct));
    }
    static KVXValueLength bytesOfText(const std::string& text) {
        auto* data = static_cast<char*>(KVXMalloc(text.size() + 1));
        std::memcpy(data, text.c_str(), text.size() + 1);
        return {data, static_cast<uint32_t>(text.size())};
    }
    void text(KVXValueLength*& text) {
        const size_t index = at_;
        const auto& from = next<std::string>();
        if (from.empty() && index % 2 == 0) return;
        uint16_t one = 0;
        allocate(text, one, 1);
        *text = bytesOfText(from);
    }

    const Record& from_;
    size_t at_ = 0;
};

} // namespace kvxtest::plain
