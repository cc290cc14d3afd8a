// SPDX-License-Identifier: Apache-2.0
// The types of the records.
#include "support/plain_codec.h"

namespace kvxtest::plain {

// Shared records

constexpr RecordType kValuePair = {"ValuePair", 0, [](FieldVisitor& f) { f.texts(2); }};
constexpr RecordType kValuePairYomi = {"ValuePairYOMI", 0, [](FieldVisitor& f) { f.texts(4); }};
constexpr RecordType kCredit = {"Credit", 0, [](FieldVisitor& f) { f.texts(6); }};
constexpr RecordType kNumValuePair = {"NumValuePair", 0, [](FieldVisitor& f) {
                                          f.exactCount(2);
                                          f.exactNumber16();
                                          f.text();
                                      }};
constexpr RecordType kRelease = {"Release", 0, [](FieldVisitor& f) { f.texts(4); }};

// Tracks

constexpr RecordType kTrackDescriptor = {"TrackDescriptor", 0, [](FieldVisitor& f) {
                                             f.texts(2);
                                             f.number16();
                                             f.text();
                                         }};
constexpr RecordType kCTrackData = {"CTrackData", 5, [](FieldVisitor& f) {
                                        f.texts(2);
                                        f.list(kValuePairYomi);
                                        f.texts(2);
                                    }};
constexpr RecordType kTrack = {"Track", 14, [](FieldVisitor& f) {
                                   f.texts(3);                                   // 0 - 2
                                   f.numbers16(2);                               // 3, 4
                                   f.lists(kValuePairYomi, 2);                   // 5, 6
                                   f.texts(5);                                   // 7 - 11
                                   f.list(kTrackDescriptor);                     // 12
                                   f.part(kCTrackData, Unreadable::kIsForgiven); // 13
                                   f.text();                                     // 14
                                   f.numbers16(2);                               // 15, 16
                                   f.number32();                                 // 17
                                   f.keptText();                                 // 18
                                   f.number16();                                 // 19
                                   f.text();                                     // 20
                                   f.texts();                                    // 21
                                   f.number16();                                 // 22
                               }};
constexpr RecordType kTrackInfo = {"TrackInfo", 0, [](FieldVisitor& f) {
                                       f.text();
                                       f.numbers16(2);
                                       f.texts(3);
                                       f.list(kValuePairYomi);
                                   }};
constexpr RecordType kTrackToAlbum = {"TrackToAlbum", 2, [](FieldVisitor& f) {
                                          f.list(kTrackInfo);
                                          f.part(kAlbum, Unreadable::kFailsGone);
                                      }};

// Albums

constexpr RecordType kShortAlbum = {"ShortAlbum", 0, [](FieldVisitor& f) {
                                        f.texts(9);
                                        f.numbers16(3);
                                    }};
constexpr RecordType kCDMedia = {"CDMedia", 0, [](FieldVisitor& f) {
                                     f.list(kTrack);
                                     f.numbers16(2);
                                 }};
constexpr RecordType kCAlbumData = {"CAlbumData", 1, [](FieldVisitor& f) { f.text(); }};
constexpr RecordType kAlbum = {"Album", 25, [](FieldVisitor& f) {
                                   f.texts(6);                                  // 0 - 5
                                   f.numbers16(2);                              // 6, 7
                                   f.texts(2);                                  // 8, 9
                                   f.part(kValuePair, Unreadable::kFails);      // 10
                                   f.number16();                                // 11
                                   f.text();                                    // 12
                                   f.list(kRelease);                            // 13
                                   f.list(kCredit);                             // 14
                                   f.list(kCDMedia);                            // 15
                                   f.lists(kValuePair, 2);                      // 16, 17
                                   f.list(kShortAlbum);                         // 18
                                   f.texts(2);                                  // 19, 20
                                   f.texts();                                   // 21
                                   f.text();                                    // 22
                                   f.number16();                                // 23
                                   f.list(kValuePair);                          // 24
                                   f.part(kCAlbumData, Unreadable::kIsLeftOut); // 25
                                   f.texts(2);                                  // 26, 27
                                   f.numbers16(3);                              // 28 - 30
                                   f.texts(2);                                  // 31, 32
                               }};

// DVDs

constexpr RecordType kShortDvd = {"ShortDVD", 0, [](FieldVisitor& f) { f.texts(4); }};
constexpr RecordType kDvdChapter = {"DVDChapter", 0, [](FieldVisitor& f) {
                                        f.numbers16(2);
                                        f.text();
                                        f.number16();
                                    }};
constexpr RecordType kDvdCast = {"DVDCast", 0, [](FieldVisitor& f) { f.texts(5); }};
constexpr RecordType kDvdDisc = {"DVDDisc", 0, [](FieldVisitor& f) {
                                     f.texts(2);              // 0, 1
                                     f.number16();            // 2
                                     f.texts();               // 3
                                     f.texts(3);              // 4 - 6
                                     f.lists(kValuePair, 2);  // 7, 8
                                     f.list(kDvdCast);        // 9
                                     f.texts(3);              // 10 - 12
                                     f.list(kValuePair);      // 13
                                     f.texts(3);              // 14 - 16
                                     f.number16();            // 17
                                     f.texts(3);              // 18 - 20
                                     f.numbers16(2);          // 21, 22
                                     f.texts();               // 23
                                     f.texts(3);              // 24 - 26
                                     f.lists(kDvdChapter, 2); // 27, 28
                                     f.number16();            // 29
                                     f.list(kValuePair);      // 30
                                     f.texts();               // 31
                                     f.list(kShortDvd);       // 32
                                     f.text();                // 33
                                     f.number16();            // 34
                                     f.texts(3);              // 35 - 37
                                 }};
constexpr RecordType kDvd = {"DVD", 2, [](FieldVisitor& f) {
                                 f.texts(3);
                                 f.number16();
                                 f.list(kDvdDisc);
                                 f.text();
                             }};

// Performers

constexpr RecordType kPerformer = {"Performer", 17, [](FieldVisitor& f) {
                                       f.number16();               // 0
                                       f.texts(5);                 // 1 - 5
                                       f.list(kValuePair);         // 6
                                       f.text();                   // 7
                                       f.texts();                  // 8
                                       f.texts(4);                 // 9 - 12
                                       f.list(kShortAlbum);        // 13
                                       f.texts();                  // 14
                                       f.lists(kValuePairYomi, 2); // 15, 16
                                       f.text();                   // 17
                                       f.lists(kValuePairYomi, 2); // 18, 19
                                       f.list(kValuePair);         // 20
                                       f.text();                   // 21
                                       f.number16();               // 22
                                       f.list(kShortDvd);          // 23
                                       f.number16();               // 24
                                       f.text();                   // 25
                                   }};

} // namespace kvxtest::plain
