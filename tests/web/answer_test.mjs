// SPDX-License-Identifier: Apache-2.0
// Answers of a server, whole and damaged.
import assert from 'node:assert/strict';
import {test} from 'node:test';
import {answerRecord, arrayField, blob, dice, failsWith, golden} from './support.mjs';
import {kAccessCode, kDeviceId, KvxError, load} from './support.mjs';

const kvx = await load();
const access = kvx.open(kAccessCode, kDeviceId);
const kTrackFields = 23;
const kAlbumFields = 33;
const kConfidenceField = 29;

/** A blob with this number of fields; those that are not named are empty. */
function blobOf(count, fields) { return blob(Array.from({length: count}, (_, index) => fields[index] ?? '')); }

const artist = (name) => blobOf(4, {0: 'role', 1: name, 2: 'id', 3: 'v'});
const track = (id, title, names = []) =>
  blobOf(kTrackFields, {0: id, 1: title, 6: names.length > 0 ? arrayField(names.map(artist)) : ''});
const album = (id, title, by, confidence, media = '') =>
  blobOf(kAlbumFields, {0: id, 1: title, 4: by, 15: media, [kConfidenceField]: Buffer.from([confidence, 0])});
const nothing = answerRecord('N', Buffer.from([0]));

test('the golden answers are read', () => {
  assert.deepEqual(access.parse(golden('answer_track.bin')), {
    found: true,
    tracks: [{
      trackId: 'T-2001',
      title: 'Low Tide',
      artist: 'The Paper Lanterns',
      artists: [{propertyId: null, property: 'The Paper Lanterns', valueId: null, value: null}],
    }],
    albums: [],
    types: 'T',
  });
  assert.deepEqual(access.parse(golden('answer_album.bin')), {
    found: true,
    tracks: [],
    albums:
      [{albumId: 'A-3001', title: 'Walking on Thin Air', artist: 'The Paper Lanterns', confidence: 97, media: []}],
    types: 'A',
  });
  assert.deepEqual(access.parse(golden('response_identity.bin')), {found: false, tracks: [], albums: [], types: 'GN'});
});

test('tracks and albums come in the order of the answer', () => {
  const answer = Buffer.concat([
    answerRecord('T', track('1', 'Ünë', ['A', 'B'])),
    answerRecord('T', track('2', 'two')),
    answerRecord('A', album('11', 'x', 'A', 100)),
    answerRecord('A', album('12', 'y', 'C', 7)),
    nothing,
  ]);
  const {found, tracks, albums, types} = access.parse(new Uint8Array(answer).buffer);
  assert.equal(found, true);
  assert.equal(types, 'TTAAN');
  assert.deepEqual(
    tracks.map(({trackId, title, artist: name}) => [trackId, title, name]), [['1', 'Ünë', 'A'], ['2', 'two', null]]);
  assert.deepEqual(tracks[0].artists[1], {propertyId: 'role', property: 'B', valueId: 'id', value: 'v'});
  assert.deepEqual(
    albums.map(({albumId, title, artist: name, confidence}) => [albumId, title, name, confidence]),
    [['11', 'x', 'A', 100], ['12', 'y', 'C', 7]]);
});

test('an album has its media, and they have their tracks', () => {
  const medium = blobOf(3, {0: arrayField([track('1', 'one', ['A']), track('2', 'two')])});
  const [{media}] = access.parse(answerRecord('A', album('1', 'x', 'A', 1, arrayField([medium, medium])))).albums;
  assert.deepEqual(media.map(({tracks}) => tracks.map(({title}) => title)), [['one', 'two'], ['one', 'two']]);
  assert.equal(media[1].tracks[0].artist, 'A');
});

test('the album of a track with its album is among the albums', () => {
  const {albums, tracks, types} = access.parse(answerRecord('K', blobOf(2, {1: album('1', 'x', 'A', 5)})));
  assert.equal(types, 'K');
  assert.deepEqual(tracks, []);
  assert.deepEqual(albums.map(({title}) => title), ['x']);
  assert.equal(access.parse(answerRecord('K', blobOf(2, {}))).found, false);
});

test('nothing found is no failure', () => {
  assert.deepEqual(access.parse(nothing), {found: false, tracks: [], albums: [], types: 'N'});
  assert.equal(access.parse(answerRecord('Z', Buffer.from([0]))).types, '?');
});

test('an answer that ends anywhere else is refused', () => {
  const answer = Buffer.concat([answerRecord('T', track('1', 'one', ['A'])), nothing]);
  const whole = answer.length - nothing.length;
  for (let length = 0; length < answer.length; ++length) {
    if (length === whole) continue; // the track alone
    assert.throws(() => access.parse(answer.subarray(0, length)), failsWith('answer'), `${length} bytes`);
  }
  assert.equal(access.parse(answer).types, 'TN');
});

test('a record whose offsets lead out of it is refused', () => {
  for (let field = 0; field <= 6; ++field) {
    const data = track('1', 'one', ['A']);
    data.writeUInt32LE(0x7fffffff, 1 + 4 * field);
    assert.throws(() => access.parse(answerRecord('T', data)), failsWith('answer'), `field ${field}`);
  }
});

test('damaged bytes give an object or a KvxError, and the next answer is read', () => {
  const medium = blobOf(3, {0: arrayField([track('1', 'one', ['A'])])});
  const answer = Buffer.concat([
    answerRecord('T', track('1', 'one', ['A', 'B'])), answerRecord('A', album('1', 'x', 'A', 1, arrayField([medium])))
  ]);
  const roll = dice(1);
  const seen = {read: 0, refused: 0};
  for (let round = 0; round < 5000; ++round) {
    const damaged = Buffer.from(answer);
    for (let i = roll(4); i >= 0; --i) damaged[roll(damaged.length)] = roll(256);
    try {
      access.parse(damaged);
      ++seen.read;
    } catch (error) {
      if (!(error instanceof KvxError)) throw error;
      ++seen.refused;
    }
  }
  assert.ok(seen.read > 100 && seen.refused > 100, JSON.stringify(seen));
  assert.equal(access.parse(answer).types, 'TA');
});

test('more records than the library can count are refused', () => {
  const records = (count) => Buffer.concat(new Array(count).fill(nothing));
  assert.equal(access.parse(records(0x7fff)).types.length, 0x7fff);
  assert.throws(() => access.parse(records(0x8000)), failsWith('answer'));
});
