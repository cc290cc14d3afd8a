/* SPDX-License-Identifier: Apache-2.0 */
/* The members of the 20 record structs in their order in memory, for C and for C++. Programs are compiled with these
 * offsets: each member stands at the first place after the one before it that suits its width. */
#ifndef KVX_TEST_STRUCT_LAYOUTS_H
#define KVX_TEST_STRUCT_LAYOUTS_H

#include "kvx.h"

#include <stdbool.h>
#include <stddef.h>
#include <string.h>

struct MemberPlace {
    const char* structure;
    const char* member;
    size_t offset;
    size_t found; /* the member's own width */
    size_t width; /* as it has to be */
    size_t structBytes;
};

#ifdef __cplusplus
#define BYTES_OF(type, member) sizeof(type::member)
#else
#define BYTES_OF(type, member) sizeof(((type*)0)->member)
#endif
#define MEMBER(type, member, width)                                                                                    \
    { #type, #member, offsetof(type, member), BYTES_OF(type, member), width, sizeof(type) }
#define POINTER(type, member) MEMBER(type, member, sizeof(void*))
#define SHORT(type, member) MEMBER(type, member, 2)
#define INT(type, member) MEMBER(type, member, 4)
#define ARRAY(type, member, count) POINTER(type, member), SHORT(type, count)

static const struct MemberPlace kMemberPlaces[] = {
    POINTER(ValuePair, id),
    POINTER(ValuePair, value),

    POINTER(ValuePairYOMI, propertyId),
    POINTER(ValuePairYOMI, property),
    POINTER(ValuePairYOMI, valueId),
    POINTER(ValuePairYOMI, value),

    POINTER(Credit, text1),
    POINTER(Credit, text2),
    POINTER(Credit, text3),
    POINTER(Credit, text4),
    POINTER(Credit, text5),
    POINTER(Credit, text6),

    SHORT(NumValuePair, number),
    POINTER(NumValuePair, value),

    POINTER(Release, text1),
    POINTER(Release, text2),
    POINTER(Release, text3),
    POINTER(Release, text4),

    POINTER(TrackDescriptor, text1),
    POINTER(TrackDescriptor, text0),
    POINTER(TrackDescriptor, text3),
    SHORT(TrackDescriptor, short2),

    POINTER(CTrackData, text0),
    POINTER(CTrackData, text1),
    ARRAY(CTrackData, yomiList2, yomiList2Count),
    POINTER(CTrackData, text3),
    POINTER(CTrackData, text4),

    POINTER(Track, trackId),
    POINTER(Track, title),
    POINTER(Track, text2),
    POINTER(Track, text14),
    POINTER(Track, text20),
    SHORT(Track, short3),
    SHORT(Track, short22),
    SHORT(Track, short4),
    ARRAY(Track, yomiList5, yomiList5Count),
    ARRAY(Track, artists, artistCount),
    ARRAY(Track, texts21, texts21Count),
    POINTER(Track, text7),
    POINTER(Track, text8),
    POINTER(Track, text9),
    POINTER(Track, text10),
    POINTER(Track, text11),
    SHORT(Track, short16),
    SHORT(Track, short15),
    SHORT(Track, short19),
    ARRAY(Track, descriptors, descriptorCount),
    POINTER(Track, trackData),
    INT(Track, int17),
    POINTER(Track, text18),

    POINTER(TrackInfo, text0),
    POINTER(TrackInfo, text3),
    POINTER(TrackInfo, text4),
    POINTER(TrackInfo, text5),
    SHORT(TrackInfo, short1),
    SHORT(TrackInfo, short2),
    ARRAY(TrackInfo, yomiList6, yomiList6Count),

    POINTER(TrackToAlbum, album),
    ARRAY(TrackToAlbum, trackInfos, trackInfoCount),

    POINTER(ShortAlbum, text0),
    POINTER(ShortAlbum, text1),
    POINTER(ShortAlbum, text2),
    POINTER(ShortAlbum, text7),
    POINTER(ShortAlbum, text3),
    POINTER(ShortAlbum, text4),
    POINTER(ShortAlbum, text5),
    POINTER(ShortAlbum, text8),
    POINTER(ShortAlbum, text6),
    SHORT(ShortAlbum, short9),
    SHORT(ShortAlbum, short10),
    SHORT(ShortAlbum, short11),

    ARRAY(CDMedia, tracks, trackCount),
    SHORT(CDMedia, short2),
    SHORT(CDMedia, short1),

    POINTER(CAlbumData, text0),

    POINTER(Album, albumId),
    POINTER(Album, title),
    POINTER(Album, text2),
    POINTER(Album, text26),
    POINTER(Album, text3),
    POINTER(Album, artist),
    POINTER(Album, text5),
    POINTER(Album, text27),
    POINTER(Album, text31),
    SHORT(Album, short6),
    SHORT(Album, short7),
    POINTER(Album, text8),
    POINTER(Album, text9),
    POINTER(Album, valuePair10),
    SHORT(Album, short11),
    POINTER(Album, text12),
    POINTER(Album, text32),
    ARRAY(Album, releases, releaseCount),
    ARRAY(Album, credits, creditCount),
    ARRAY(Album, media, mediaCount),
    ARRAY(Album, valuePairs16, valuePairs16Count),
    ARRAY(Album, valuePairs17, valuePairs17Count),
    ARRAY(Album, shortAlbums, shortAlbumCount),
    POINTER(Album, text19),
    POINTER(Album, text20),
    ARRAY(Album, texts21, texts21Count),
    POINTER(Album, text22),
    SHORT(Album, confidence),
    SHORT(Album, short28),
    SHORT(Album, short30),
    SHORT(Album, short23),
    ARRAY(Album, valuePairs24, valuePairs24Count),
    POINTER(Album, albumData),
    POINTER(Album, tarnAlbumId),
    POINTER(Album, tarnArtistId),
    ARRAY(Album, attributes, attributeCount),

    POINTER(ShortDVD, text0),
    POINTER(ShortDVD, text1),
    POINTER(ShortDVD, text3),
    POINTER(ShortDVD, text2),

    SHORT(DVDChapter, short0),
    SHORT(DVDChapter, short1),
    POINTER(DVDChapter, text2),
    SHORT(DVDChapter, short3),

    POINTER(DVDCast, text0),
    POINTER(DVDCast, text1),
    POINTER(DVDCast, text2),
    POINTER(DVDCast, text4),
    POINTER(DVDCast, text3),

    POINTER(DVDDisc, text0),
    POINTER(DVDDisc, text1),
    POINTER(DVDDisc, text33),
    SHORT(DVDDisc, short2),
    ARRAY(DVDDisc, texts3, texts3Count),
    POINTER(DVDDisc, text4),
    POINTER(DVDDisc, text5),
    POINTER(DVDDisc, text6),
    ARRAY(DVDDisc, valuePairs7, valuePairs7Count),
    ARRAY(DVDDisc, valuePairs8, valuePairs8Count),
    ARRAY(DVDDisc, cast, castCount),
    POINTER(DVDDisc, text10),
    POINTER(DVDDisc, text35),
    POINTER(DVDDisc, text11),
    POINTER(DVDDisc, text36),
    POINTER(DVDDisc, text12),
    POINTER(DVDDisc, text37),
    ARRAY(DVDDisc, valuePairs13, valuePairs13Count),
    ARRAY(DVDDisc, valuePairs30, valuePairs30Count),
    POINTER(DVDDisc, text14),
    POINTER(DVDDisc, text15),
    POINTER(DVDDisc, text16),
    SHORT(DVDDisc, short17),
    POINTER(DVDDisc, text18),
    POINTER(DVDDisc, text19),
    POINTER(DVDDisc, text20),
    POINTER(DVDDisc, text24),
    POINTER(DVDDisc, text25),
    POINTER(DVDDisc, text26),
    ARRAY(DVDDisc, texts23, texts23Count),
    ARRAY(DVDDisc, texts31, texts31Count),
    ARRAY(DVDDisc, shortDvds, shortDvdCount),
    ARRAY(DVDDisc, chapters27, chapters27Count),
    ARRAY(DVDDisc, chapters28, chapters28Count),
    SHORT(DVDDisc, short21),
    SHORT(DVDDisc, short34),
    SHORT(DVDDisc, short22),
    SHORT(DVDDisc, short29),

    POINTER(DVD, dvdId),
    POINTER(DVD, title),
    POINTER(DVD, text5),
    POINTER(DVD, text2),
    SHORT(DVD, short3),
    ARRAY(DVD, discs, discCount),

    SHORT(Performer, short0),
    POINTER(Performer, text1),
    POINTER(Performer, text2),
    POINTER(Performer, text3),
    POINTER(Performer, text21),
    POINTER(Performer, text4),
    POINTER(Performer, text5),
    ARRAY(Performer, valuePairs6, valuePairs6Count),
    POINTER(Performer, text7),
    POINTER(Performer, text25),
    ARRAY(Performer, texts8, texts8Count),
    POINTER(Performer, text9),
    POINTER(Performer, text10),
    POINTER(Performer, text11),
    POINTER(Performer, text12),
    ARRAY(Performer, shortAlbums, shortAlbumCount),
    ARRAY(Performer, shortDvds, shortDvdCount),
    ARRAY(Performer, texts14, texts14Count),
    ARRAY(Performer, yomiList15, yomiList15Count),
    ARRAY(Performer, yomiList16, yomiList16Count),
    POINTER(Performer, text17),
    ARRAY(Performer, yomiList18, yomiList18Count),
    ARRAY(Performer, yomiList19, yomiList19Count),
    ARRAY(Performer, valuePairs20, valuePairs20Count),
    SHORT(Performer, short22),
    SHORT(Performer, short24),
};

#undef BYTES_OF
#undef MEMBER
#undef POINTER
#undef SHORT
#undef INT
#undef ARRAY

/* Where the next member of that width stands. */
static inline size_t roundedUp(size_t offset, size_t width) { return (offset + width - 1) / width * width; }

/* The first member that does not stand where it has to, or null. structs: how many there are. */
static inline const struct MemberPlace* misplacedMember(size_t* structs) {
    const size_t count = sizeof kMemberPlaces / sizeof kMemberPlaces[0];
    size_t end = 0;
    size_t widest = 1;
    *structs = 0;
    for (size_t i = 0; i < count; ++i) {
        const struct MemberPlace* place = &kMemberPlaces[i];
        const bool isFirst = i == 0 || strcmp(place->structure, kMemberPlaces[i - 1].structure) != 0;
        const bool isLast = i + 1 == count || strcmp(place->structure, kMemberPlaces[i + 1].structure) != 0;
        if (isFirst) {
            end = 0;
            widest = 1;
            ++*structs;
        }
        if (place->found != place->width || place->offset != roundedUp(end, place->width)) return place;
        end = place->offset + place->width;
        if (place->width > widest) widest = place->width;
        if (isLast && place->structBytes != roundedUp(end, widest)) return place;
    }
    return NULL;
}

#endif /* KVX_TEST_STRUCT_LAYOUTS_H */
