// SPDX-License-Identifier: Apache-2.0
#include "golden_records.h"

namespace kvxtest {
namespace {

Bytes at(size_t fieldIndex) { return shortBytes(static_cast<uint16_t>(1000 + fieldIndex)); }

// A track of which only the first two fields are filled; its shorts are 0.
Fields leanTrackFields(const std::string& prefix) {
    Fields fields(23);
    fields[0] = bytesOf(prefix + "trackId");
    fields[1] = bytesOf(prefix + "title");
    for (const size_t index : Indexes{3, 4, 15, 16, 19, 22}) fields[index] = shortBytes(0);
    return fields;
}

} // namespace

Fields valuePairFields(const std::string& p) { return {bytesOf(p + "id"), bytesOf(p + "value")}; }

Fields valuePairYomiFields(const std::string& p) {
    return {bytesOf(p + "propertyId"), bytesOf(p + "property"), bytesOf(p + "valueId"), bytesOf(p + "value")};
}

Fields creditFields(const std::string& p) {
    return {bytesOf(p + "text1"), bytesOf(p + "text2"), bytesOf(p + "text3"),
            bytesOf(p + "text5"), bytesOf(p + "text6"), bytesOf(p + "text4")};
}

Fields numValuePairFields(const std::string& p, uint16_t number) { return {shortBytes(number), bytesOf(p + "value")}; }

Fields releaseFields(const std::string& p) {
    return {bytesOf(p + "text1"), bytesOf(p + "text2"), bytesOf(p + "text4"), bytesOf(p + "text3")};
}

Fields trackDescriptorFields(const std::string& p) {
    return {bytesOf(p + "text0"), bytesOf(p + "text1"), at(2), bytesOf(p + "text3")};
}

Fields cTrackDataFields(const std::string& p) {
    return {bytesOf(p + "text0"), bytesOf(p + "text1"), assemble({assemble(valuePairYomiFields("2.0 "))}),
            bytesOf(p + "text3"), bytesOf(p + "text4")};
}

Fields trackFields(const std::string& p, Sender sender) {
    Fields fields(23);
    fields[0] = bytesOf(p + "trackId");
    fields[1] = bytesOf(p + "title");
    fields[2] = bytesOf(p + "text2");
    fields[3] = at(3);
    fields[4] = at(4);
    fields[5] = assemble({assemble(valuePairYomiFields("5.0 "))});
    fields[6] = assemble({assemble(valuePairYomiFields("6.0 ")), assemble(valuePairYomiFields("6.1 "))});
    for (size_t index = 7; index <= 11; ++index) fields[index] = bytesOf(p + "text" + std::to_string(index));
    fields[14] = bytesOf(p + "text14");
    fields[15] = at(15);
    fields[16] = at(16);
    fields[19] = at(19);
    fields[20] = bytesOf(p + "text20");
    fields[21] = textArray({"21.0", "", "21.2"});
    fields[22] = at(22);
    if (sender == Sender::kServer) {
        fields[12] = assemble({assemble(trackDescriptorFields("12.0 ")), assemble(trackDescriptorFields("12.1 "))});
        fields[13] = assemble(cTrackDataFields("13 "));
        fields[17] = intBytes(0x11223344);
        fields[18] = bytesOf(p + "text18");
    }
    return fields;
}

Fields trackInfoFields(const std::string& p) {
    return {bytesOf(p + "text0"),
            at(1),
            at(2),
            bytesOf(p + "text3"),
            bytesOf(p + "text4"),
            bytesOf(p + "text5"),
            assemble({assemble(valuePairYomiFields("6.0 ")), assemble(valuePairYomiFields("6.1 "))})};
}

Fields trackToAlbumFields() {
    return {assemble({assemble(trackInfoFields("0.0 ")), assemble(trackInfoFields("0.1 "))}), assemble(albumFields())};
}

Fields shortAlbumFields(const std::string& p) {
    Fields fields;
    for (int index = 0; index <= 8; ++index) fields.push_back(bytesOf(p + "text" + std::to_string(index)));
    for (const size_t index : Indexes{9, 10, 11}) fields.push_back(at(index));
    return fields;
}

Fields cdMediaFields(Sender sender) {
    return {assemble({assemble(trackFields("0.0 ", sender)), assemble(leanTrackFields("0.1 "))}), at(1), at(2)};
}

Fields cAlbumDataFields(const std::string& p) { return {bytesOf(p + "text0")}; }

Fields albumFields(Sender sender) {
    Fields fields(33);
    fields[0] = bytesOf("albumId");
    fields[1] = bytesOf("title");
    fields[4] = bytesOf("artist");
    for (const size_t index : Indexes{2, 3, 5, 8, 9, 12, 19, 20, 22, 26, 27, 31, 32}) {
        fields[index] = bytesOf("text" + std::to_string(index));
    }
    for (const size_t index : Indexes{6, 7, 11, 23, 28, 29, 30}) fields[index] = at(index);
    fields[10] = assemble(valuePairFields("10 "));
    fields[13] = assemble({assemble(releaseFields("13.0 "))});
    fields[14] = assemble({assemble(creditFields("14.0 ")), assemble(creditFields("14.1 "))});
    fields[15] = assemble({assemble(cdMediaFields(sender))});
    fields[16] = assemble({assemble(valuePairFields("16.0 "))});
    fields[17] = assemble({assemble(valuePairFields("17.0 ")), assemble(valuePairFields("17.1 "))});
    fields[18] = assemble({assemble(shortAlbumFields("18.0 "))});
    fields[21] = textArray({"21.0", "", "21.2"});
    fields[24] = assemble({assemble(valuePairFields("24.0 "))});
    if (sender == Sender::kServer) fields[25] = assemble(cAlbumDataFields("25 "));
    return fields;
}

Fields shortDvdFields(const std::string& p) {
    return {bytesOf(p + "text0"), bytesOf(p + "text1"), bytesOf(p + "text2"), bytesOf(p + "text3")};
}

Fields dvdChapterFields(const std::string& p) { return {at(0), at(1), bytesOf(p + "text2"), at(3)}; }

Fields dvdCastFields(const std::string& p) {
    return {bytesOf(p + "text0"), bytesOf(p + "text1"), bytesOf(p + "text2"), bytesOf(p + "text3"),
            bytesOf(p + "text4")};
}

Fields dvdDiscFields(const std::string& p) {
    Fields fields(38);
    for (const size_t index : Indexes{0, 1, 4, 5, 6, 10, 11, 12, 14, 15, 16, 18, 19, 20, 24, 25, 26, 33, 35, 36, 37}) {
        fields[index] = bytesOf(p + "text" + std::to_string(index));
    }
    for (const size_t index : Indexes{2, 17, 21, 22, 29, 34}) fields[index] = at(index);
    fields[3] = textArray({"3.0", "", "3.2"});
    fields[7] = assemble({assemble(valuePairFields("7.0 "))});
    fields[8] = assemble({assemble(valuePairFields("8.0 ")), assemble(valuePairFields("8.1 "))});
    fields[9] = assemble({assemble(dvdCastFields("9.0 "))});
    fields[13] = assemble({assemble(valuePairFields("13.0 "))});
    fields[23] = textArray({"23.0"});
    fields[27] = assemble({assemble(dvdChapterFields("27.0 ")), assemble(dvdChapterFields("27.1 "))});
    fields[28] = assemble({assemble(dvdChapterFields("28.0 "))});
    fields[30] = assemble({assemble(valuePairFields("30.0 "))});
    fields[31] = textArray({"31.0", "31.1"});
    fields[32] = assemble({assemble(shortDvdFields("32.0 "))});
    return fields;
}

Fields dvdFields() {
    return {bytesOf("dvdId"), bytesOf("title"), bytesOf("text2"), at(3), assemble({assemble(dvdDiscFields("4.0 "))}),
            bytesOf("text5")};
}

Fields performerFields() {
    Fields fields(26);
    for (const size_t index : Indexes{1, 2, 3, 4, 5, 7, 9, 10, 11, 12, 17, 21, 25}) {
        fields[index] = bytesOf("text" + std::to_string(index));
    }
    for (const size_t index : Indexes{0, 22, 24}) fields[index] = at(index);
    fields[6] = assemble({assemble(valuePairFields("6.0 "))});
    fields[8] = textArray({"8.0", "", "8.2"});
    fields[13] = assemble({assemble(shortAlbumFields("13.0 "))});
    fields[14] = textArray({"14.0"});
    fields[15] = assemble({assemble(valuePairYomiFields("15.0 "))});
    fields[16] = assemble({assemble(valuePairYomiFields("16.0 ")), assemble(valuePairYomiFields("16.1 "))});
    fields[18] = assemble({assemble(valuePairYomiFields("18.0 "))});
    fields[19] = assemble({assemble(valuePairYomiFields("19.0 "))});
    fields[20] = assemble({assemble(valuePairFields("20.0 ")), assemble(valuePairFields("20.1 "))});
    fields[23] = assemble({assemble(shortDvdFields("23.0 "))});
    return fields;
}

std::vector<GoldenRecord> goldenRecords() {
    return {
        {"ValuePair", &kvx::kValuePair, assemble(valuePairFields())},
        {"ValuePairYOMI", &kvx::kValuePairYOMI, assemble(valuePairYomiFields())},
        {"Credit", &kvx::kCredit, assemble(creditFields())},
        {"NumValuePair", &kvx::kNumValuePair, assemble(numValuePairFields())},
        {"Release", &kvx::kRelease, assemble(releaseFields())},
        {"TrackDescriptor", &kvx::kTrackDescriptor, assemble(trackDescriptorFields())},
        {"CTrackData", &kvx::kCTrackData, assemble(cTrackDataFields())},
        {"Track", &kvx::kTrack, assemble(trackFields())},
        {"TrackFromServer", &kvx::kTrack, assemble(trackFields("", Sender::kServer))},
        {"TrackInfo", &kvx::kTrackInfo, assemble(trackInfoFields())},
        {"TrackToAlbum", &kvx::kTrackToAlbum, assemble(trackToAlbumFields())},
        {"ShortAlbum", &kvx::kShortAlbum, assemble(shortAlbumFields())},
        {"CDMedia", &kvx::kCDMedia, assemble(cdMediaFields())},
        {"CAlbumData", &kvx::kCAlbumData, assemble(cAlbumDataFields())},
        {"Album", &kvx::kAlbum, assemble(albumFields())},
        {"AlbumFromServer", &kvx::kAlbum, assemble(albumFields(Sender::kServer))},
        {"ShortDVD", &kvx::kShortDVD, assemble(shortDvdFields())},
        {"DVDChapter", &kvx::kDVDChapter, assemble(dvdChapterFields())},
        {"DVDCast", &kvx::kDVDCast, assemble(dvdCastFields())},
        {"DVDDisc", &kvx::kDVDDisc, assemble(dvdDiscFields())},
        {"DVD", &kvx::kDVD, assemble(dvdFields())},
        {"Performer", &kvx::kPerformer, assemble(performerFields())},
    };
}

} // namespace kvxtest
