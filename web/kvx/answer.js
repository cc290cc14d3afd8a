// SPDX-License-Identifier: Apache-2.0
// The answer of a server as plain objects.

import {check} from './errors.js';
import {typeOf} from './samples.js';

const kMaxAnswerBytes = 1 << 24;
const kMaxRecords = 0x7fff; // the library counts in 16 bits with a sign
const kReaders = {
  T: {read: 'KVXGetTrack', free: 'KVXFreeTrack'},
  A: {read: 'KVXGetAlbum', free: 'KVXFreeAlbum'},
  K: {read: 'KVXGetTrackToAlbum', free: 'KVXFreeTrackToAlbum'},
};

/** Reads the body of an HTTP answer. */
export function readAnswer(library, memory, handle, answer) {
  const bytes = typeOf(answer) === undefined && isBuffer(answer) ? new Uint8Array(answer) : answer;
  check(typeOf(bytes) === 'Uint8Array', 'argument', 'an answer must be a Uint8Array or an ArrayBuffer');
  check(bytes.length <= kMaxAnswerBytes, 'answer', `an answer of ${bytes.length} bytes is too long`);
  return memory.withBlocks((take) => {
    const copy = take(bytes.length);
    memory.bytes(copy, bytes.length).set(bytes);
    const status = library.KVXParseServerResponse(handle, copy, bytes.length, memory.place);
    check(status === 0, 'answer', 'the answer is damaged: its records do not fill it; ask the server again');
    const count = memory.word(memory.place);
    check(count <= kMaxRecords, 'answer', `the answer has more than ${kMaxRecords} records; ask for fewer`);
    const result = {found: false, tracks: [], albums: [], types: ''};
    for (let number = 1; number <= count; ++number) takeRecord(library, memory, handle, number, result);
    result.found = result.tracks.length + result.albums.length > 0;
    return result;
  });
}

function takeRecord(library, memory, handle, number, result) {
  const code = library.KVXGetResponseType(handle, number);
  const type = code > 0 ? String.fromCharCode(code) : '?';
  result.types += type;
  const reader = kReaders[type];
  if (reader === undefined) return;
  const record = readRecord(library, memory, handle, number, code, reader);
  if (type === 'T') result.tracks.push(withArtist(record));
  const album = type === 'K' ? record.album : type === 'A' ? record : null;
  if (album !== null) result.albums.push(withTracks(album));
}

function readRecord(library, memory, handle, number, code, {read, free}) {
  memory.setWord(memory.place, 0); // a reader that fails before it allocates leaves it
  const status = library[read](handle, number, memory.place);
  const address = memory.word(memory.place);
  try {
    check(status === 0, 'answer', `record ${number} of the answer cannot be read; ask the server again`);
    return memory.record(library.kvxRecord(code), address);
  } finally {
    if (address !== 0) library[free](memory.place);
  }
}

/** artist: that of an album is a member of kvx.h, that of a track is the first of its artists. */
function withArtist({trackId, title, artists}) {
  return {trackId, title, artist: artists.length > 0 ? artists[0].property : null, artists};
}

function withTracks(album) {
  const media = album.media.map((medium) => ({tracks: medium.tracks.map(withArtist)}));
  return {...album, media};
}

function isBuffer(value) {
  const tag = Object.prototype.toString.call(value);
  return tag === '[object ArrayBuffer]' || tag === '[object SharedArrayBuffer]';
}
