// SPDX-License-Identifier: Apache-2.0
// Whatever a caller passes gives a KvxError with its reason, and leaves the module usable.
import assert from 'node:assert/strict';
import {test} from 'node:test';
import vm from 'node:vm';
import {failsWith, golden, hex, kAccessCode, kDeviceId, load, recording} from './support.mjs';

const kvx = await load();
const access = kvx.open(kAccessCode, kDeviceId);
const format = {
  rateHz: 44100,
  channels: 2,
  durationMs: 30000
};
const kStrange = [undefined, null, 0, -1, NaN, Infinity, 1e300, 10n, '', 'text', true, {}, [], () => 1, Symbol('s')];

/** Runs each case and checks the reason of its failure. */
function refuses(name, reason, call, values) {
  test(name, () => {
    for (const value of values) assert.throws(() => call(value), failsWith(reason), String(value));
  });
}

refuses('a strange access code', 'access-code', (code) => kvx.open(code, kDeviceId), [
  ...kStrange, '0'.repeat(79), '0'.repeat(81), `${'0'.repeat(79)}g`, new Uint8Array(80), new Uint8Array(1 << 24),
  `0000000009000300${'0'.repeat(64)}`, 'ı'.repeat(40)
]);
refuses(
  'a strange device id', 'device-id', (id) => kvx.open(kAccessCode, id),
  [...kStrange.filter((value) => value !== 'text'), 'x'.repeat(17), new Uint8Array(0), new Uint8Array(1 << 24)]);
refuses(
  'a strange client kind', 'argument', (clientKind) => kvx.open(kAccessCode, kDeviceId, {clientKind}),
  [...kStrange.filter((value) => value !== undefined), 'SS', 'é']);
refuses('strange options', 'argument', (options) => kvx.open(kAccessCode, kDeviceId, options), [null, 1, 'x']);
refuses('a strange format', 'argument', (value) => access.session(value), [undefined, null, 1, 'x']);
refuses(
  'strange channels', 'channels', (channels) => access.session({...format, channels}),
  [...kStrange, 3, 1.5, '2', 2 ** 32 + 2]);
refuses(
  'a strange rate', 'rate', (rateHz) => access.session({...format, rateHz}),
  [...kStrange, 11024, 44100.5, '44100', 2 ** 31, 2 ** 32 + 44100]);
refuses(
  'a strange duration', 'argument', (durationMs) => access.session({...format, durationMs}),
  kStrange.filter((value) => value !== 0 && value !== 1e300));
refuses('strange samples', 'argument', (samples) => access.session(format).feed(samples), [
  ...kStrange, [1, 2], new Float64Array(8), new Int32Array(8), new DataView(new ArrayBuffer(8)), new ArrayBuffer(8),
  {[Symbol.toStringTag]: 'Int16Array', length: 1e9, subarray() { return this; }}
]);
refuses('strange samples of a whole track', 'argument', (samples) => access.fingerprint(samples, format), kStrange);
refuses('strange options of a request', 'argument', (request) => access.lookUpPacket(['a'], request), [
  null, 1, 'x', {maxMatches: -1}, {maxMatches: 65536}, {maxMatches: 1.5}, {maxMatches: '1'}, {language: 'eng'},
  {language: 'EN'}, {language: 1}, {kind: ''}, {kind: 'a'}, {kind: 65}
]);
refuses('strange ids', 'argument', (ids) => access.lookUpPacket(ids), [
  ...kStrange, [1], [null], ['a,b'], [''], ['a', new Uint8Array(0)], [['a']], new Array(3), 'abc',
  new Array(1 << 20).fill('ab'), [new Uint8Array(1 << 22).fill(1)]
]);
refuses('a strange answer', 'argument', (answer) => access.parse(answer), [...kStrange, new Int16Array(8), [1, 2]]);
refuses(
  'an empty or huge answer', 'answer', (answer) => access.parse(answer),
  [new Uint8Array(0), new ArrayBuffer(4), new Uint8Array((1 << 24) + 1)]);

test('a huge piece is taken block by block', () => {
  const session = access.session({rateHz: 96000, channels: 2, durationMs: 60000});
  assert.equal(session.feed(new Int16Array(1 << 27)), true); // 256 MiB, four times the module's memory
  session.close();
});

test('a very high rate needs much audio, and nothing else', () => {
  const session = access.session({...format, rateHz: 0x7fffffff});
  assert.equal(session.feed(new Int16Array(1 << 20)), false);
  assert.ok(session.missingMs > 29000);
  session.close();
});

test('what is closed says so', () => {
  const other = kvx.open(kAccessCode, kDeviceId);
  const session = other.session(format);
  other.close();
  other.close();
  assert.equal(session.feed(new Int16Array(100)), false); // an open session outlives its access
  session.close();
  session.close();
  assert.throws(() => session.feed(new Int16Array(100)), failsWith('closed'));
  assert.throws(() => session.missingMs, failsWith('closed'));
  assert.throws(() => session.codes, failsWith('closed'));
  assert.throws(() => session.packet(), failsWith('closed'));
  assert.throws(() => other.session(format), failsWith('closed'));
  assert.throws(() => other.fingerprint(new Int16Array(9), format), failsWith('closed'));
  assert.throws(() => other.lookUpPacket(['a']), failsWith('closed'));
  assert.throws(() => other.parse(golden('answer_track.bin')), failsWith('closed'));
});

test('an access code may come from a file, with the end of its line', () => {
  const expected = hex(access.lookUpPacket(['a']));
  for (const code
         of [`${kAccessCode}\n`, `\t ${kAccessCode}\r\n`, Buffer.from(`${kAccessCode}\n`), kAccessCode.toUpperCase()]) {
    const other = kvx.open(code, Buffer.from(kDeviceId));
    assert.equal(hex(other.lookUpPacket([Buffer.from('a')])), expected);
    other.close();
  }
});

test('the bytes of an access code and of a device id stay the caller\'s', () => {
  const code = Buffer.from(kAccessCode);
  const id = Buffer.from(kDeviceId);
  const other = kvx.open(code, id);
  const expected = hex(other.lookUpPacket(['a']));
  assert.equal(code.toString(), kAccessCode);
  id.fill(0);
  other.session(format).close();
  assert.equal(hex(other.lookUpPacket(['a'])), expected);
  const session = other.session(format);
  assert.equal(
    hex(session.feed(new Int16Array(2 * 44100 * 31)) && session.packet().slice(10, 26)), hex(Buffer.from(kDeviceId)));
  session.close();
  other.close();
});

test('an access code that does not sign makes no packet', () => {
  const other = kvx.open(`0102030403000100${'5a'.repeat(32)}`, kDeviceId);
  assert.throws(() => other.lookUpPacket(['a']), failsWith('unsigned'));
  other.close();
});

test('the golden packet of a look-up is made', () => {
  // Of account 0x04030201, with byte sums and byte rotation, and option 1.
  const other = kvx.open(`0102030402000200${'00'.repeat(32)}`, kDeviceId);
  assert.equal(hex(other.lookUpPacket(['abc', 'wxyz'], {maxMatches: 1})), hex(golden('packet_meta_id.bin')));
  other.close();
});

test('typed arrays of another context are taken', () => {
  const native = recording(3, 22050, 1, 6500);
  const samples = vm.runInNewContext('new Int16Array(length)', {length: native.samples.length});
  samples.set(native.samples);
  assert.ok(!(samples instanceof Int16Array));
  assert.deepEqual(access.fingerprint(samples, native.format).codes, native.codes);
  const answer = vm.runInNewContext('new ArrayBuffer(length)', {length: golden('answer_track.bin').length});
  new Uint8Array(answer).set(golden('answer_track.bin'));
  assert.equal(access.parse(answer).types, 'T');
});
