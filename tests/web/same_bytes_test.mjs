// SPDX-License-Identifier: Apache-2.0
// The code strings and the signed packets are the native library's.
import assert from 'node:assert/strict';
import {test} from 'node:test';
import {dice, failsWith, hex, kAccessCode, kDeviceId, load, recording} from './support.mjs';

const kRecordings = 100;
const kRatesHz = [11025, 16000, 22050, 32000, 44100, 48000, 96000];
const kDurationsMs = [6006, 7000, 8500, 12345, 6500];
const kvx = await load();

/** Most are short; every tenth has all the audio that is coded, or more. */
function format(index) {
  const durationMs = index % 10 === 9 ? [30050, 74020, 90000][Math.floor(index / 10) % 3] : kDurationsMs[index % 5];
  return [kRatesHz[index % 7], 1 + index % 2, durationMs];
}

test(`the strings and packets of ${kRecordings} recordings are the native ones`, () => {
  const different = new Set();
  for (let index = 0; index < kRecordings; ++index) {
    const [rateHz, channels, durationMs] = format(index);
    const name = `recording ${index}: ${rateHz} Hz, ${channels} channels, ${durationMs} ms`;
    const native = recording(index, rateHz, channels, durationMs);
    const {maxMatches, language} = native;
    assert.ok(native.codes.every((text) => text.length > 20), name);

    const access = kvx.open(native.accessCode, native.deviceId);
    const session = access.session(native.format);
    assert.equal(session.startMs, native.startMs, name);
    const roll = dice(index);
    for (let at = 0; !session.complete && at < native.samples.length;) {
      const end = at + 1 + roll(20000);
      session.feed(native.samples.subarray(at, end));
      at = end;
    }
    assert.deepEqual(session.codes, native.codes, name);
    assert.equal(hex(session.packet({maxMatches, language})), native.packet, name);
    assert.equal(hex(access.lookUpPacket(native.ids, {kind: 'T', maxMatches, language})), native.lookUpPacket, name);
    session.close();

    if (native.startMs === 0) {
      const {codes, packet} = access.fingerprint(native.samples, native.format, {maxMatches, language});
      assert.deepEqual(codes, native.codes, name);
      assert.equal(hex(packet), native.packet, name);
    }
    access.close();
    different.add(native.packet);
  }
  assert.equal(different.size, kRecordings);
});

test('a long recording is fingerprinted from where the library asks', () => {
  const native = recording(7, 11025, 2, 90000);
  const before = new Int16Array(2 * 11025 * native.startMs / 1000).fill(1234);
  const whole = new Int16Array(before.length + native.samples.length);
  whole.set(before);
  whole.set(native.samples, before.length);
  const access = kvx.open(native.accessCode, native.deviceId);
  assert.deepEqual(access.fingerprint(whole, native.format).codes, native.codes);
  access.close();
});

test('a track that ends a few milliseconds before its fingerprint is followed by silence', () => {
  // Of 74006 ms, 30006 are read, and the third map is full after 30012.
  const format = {rateHz: 22050, channels: 1, durationMs: 74006};
  const {samples} = recording(3, 22050, 1, 30050);
  const read = samples.subarray(0, 30006 * 22.05);
  const access = kvx.open(kAccessCode, kDeviceId);
  const session = access.session(format);
  assert.equal(session.feed(read), false);
  assert.equal(session.feed(new Int16Array(22050)), true);
  const whole = new Int16Array(44000 * 22.05 + read.length);
  whole.set(read, 44000 * 22.05);
  const {codes, packet} = access.fingerprint(whole, format);
  assert.deepEqual(codes, session.codes);
  assert.equal(hex(packet), hex(session.packet()));
  assert.throws(() => access.fingerprint(whole.subarray(0, 74006 * 22.05 - 2205), format), failsWith('incomplete'));
  session.close();
  access.close();
});
