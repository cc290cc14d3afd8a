// SPDX-License-Identifier: Apache-2.0
// Audio that comes in pieces, in every form that the module takes.
import assert from 'node:assert/strict';
import {test} from 'node:test';
import {failsWith, kAccessCode, kDeviceId, hex, load, recording} from './support.mjs';

const kvx = await load();
const access = kvx.open(kAccessCode, kDeviceId);
const stereo = recording(1, 44100, 2, 6500);
const mono = recording(2, 32000, 1, 6500);

/** The codes of samples that are fed in pieces of this length. */
function codesOf(samples, format, count) {
  const session = access.session(format);
  for (let at = 0; !session.complete && at < samples.length; at += count)
    session.feed(samples.subarray(at, at + count));
  const {codes} = session;
  session.close();
  return codes;
}

for (const [name, {samples, format, codes}] of Object.entries({stereo, mono})) {
  const bytes = new Uint8Array(samples.buffer);
  // Odd numbers split pairs of channels, and the units that the library takes.
  for (const count of [1, 3, 7, 441, 1024, 8190, 8191, 16384, 100003, samples.length]) {
    test(`pieces of ${count} samples do not change the strings: ${name}`, () => {
      assert.deepEqual(codesOf(samples, format, count), codes);
    });
  }
  for (const count of [5, 1023, 16383, 100001, bytes.length]) {
    test(`pieces of ${count} bytes do not change the strings: ${name}`, () => {
      assert.deepEqual(codesOf(bytes, format, count), codes);
    });
  }
  test(`floats give the strings of the samples that they stand for: ${name}`, () => {
    assert.deepEqual(codesOf(Float32Array.from(samples, (value) => value / 32768), format, 128), codes);
  });
}

test('floats beyond 1 are cut, and what is no number is silence', () => {
  const {format} = mono;
  const wild = Float32Array.from(mono.samples, (_, i) => [3, -3, NaN, Infinity, -Infinity][i % 5]);
  const tame = Int16Array.from(mono.samples, (_, i) => [32767, -32768, 0, 32767, -32768][i % 5]);
  assert.deepEqual(codesOf(wild, format, 4096), codesOf(tame, format, 4096));
});

test('samples may lie anywhere in a buffer', () => {
  const {samples, format, codes} = mono;
  const bytes = new Uint8Array(samples.byteLength + 3);
  bytes.set(new Uint8Array(samples.buffer), 3);
  assert.deepEqual(codesOf(bytes.subarray(3), format, bytes.length), codes);
});

test('as much as a session says is missing completes it, at every rate', () => {
  for (const rateHz of [11025, 16000, 22050, 32000, 44100, 48000, 96000]) {
    const session = access.session({rateHz, channels: 1, durationMs: 60000});
    const samples = new Int16Array(Math.ceil(session.missingMs * rateHz / 1000));
    const nearlyAll = samples.subarray(Math.ceil(rateHz / 100)); // 10 ms less
    assert.equal(session.feed(nearlyAll), false);
    assert.ok(session.missingMs > 0 && session.missingMs <= 11, `${session.missingMs} ms at ${rateHz} Hz`);
    assert.equal(session.feed(samples.subarray(0, samples.length - nearlyAll.length)), true);
    assert.equal(session.missingMs, 0);
    session.close();
  }
});

test('a session that has enough takes nothing more', () => {
  const session = access.session(stereo.format);
  assert.equal(session.feed(stereo.samples), true);
  const packet = hex(session.packet());
  assert.equal(session.feed(new Int16Array(100000).fill(99)), true);
  assert.deepEqual(session.codes, stereo.codes);
  assert.equal(hex(session.packet()), packet);
  session.close();
});

test('sessions do not disturb each other', () => {
  const sessions = [stereo, mono].map(({format}) => access.session(format));
  for (let at = 0; at < stereo.samples.length; at += 5000) {
    [stereo, mono].forEach(({samples}, i) => sessions[i].feed(samples.subarray(at, at + 5000)));
  }
  assert.deepEqual(sessions.map((session) => session.codes), [stereo.codes, mono.codes]);
  for (const session of sessions) session.close();
});

test('without a duration the samples are the whole track', () => {
  const {samples, codes} = stereo;
  assert.deepEqual(access.fingerprint(samples, {rateHz: 44100, channels: 2}).codes, codes);
  assert.deepEqual(access.fingerprint(new Uint8Array(samples.buffer), {rateHz: 44100, channels: 2}).codes, codes);
});

test('an unfinished session has no strings and no packet', () => {
  const session = access.session(stereo.format);
  session.feed(stereo.samples.subarray(0, 88200));
  assert.throws(() => session.codes, failsWith('incomplete'));
  assert.throws(() => session.packet(), failsWith('incomplete'));
  session.close();
  const short = stereo.samples.subarray(0, 400000);
  assert.throws(
    () => access.fingerprint(short, {rateHz: 44100, channels: 2, durationMs: 20000}), failsWith('incomplete'));
});

test('a track of 6005 ms is too short, and one of 6006 ms is not', () => {
  assert.throws(() => access.session({rateHz: 44100, channels: 2, durationMs: 6005.9}), failsWith('too-short'));
  assert.throws(() => access.fingerprint(new Int16Array(0), {rateHz: 44100, channels: 2}), failsWith('too-short'));
  access.session({rateHz: 44100, channels: 2, durationMs: 6006}).close();
});

test('a track begins at 44 s if it is longer than 74.005 s', () => {
  for (const [durationMs, startMs] of [[74005, 0], [74006, 44000], [1e300, 44000]]) {
    const session = access.session({rateHz: 44100, channels: 2, durationMs});
    assert.equal(session.startMs, startMs);
    session.close();
  }
});
