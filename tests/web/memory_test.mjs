// SPDX-License-Identifier: Apache-2.0
// Nothing leaks, and each allocation may fail. The library runs in counted.wasm: the module as it is shipped, linked
// with counted_blocks.cpp, which counts what the library and the JavaScript take.
import assert from 'node:assert/strict';
import {readFileSync} from 'node:fs';
import {test} from 'node:test';
import {golden, kAccessCode, kDeviceId, kvxModule, KvxError, load, recording} from './support.mjs';

const native = recording(5, 32000, 2, 6500);
const damaged = golden('answer_album.bin').fill(0xff, 5 + 1 + 4 * 20, 5 + 1 + 4 * 24);

class CountedLibrary {
  #exports;

  constructor() {
    const {exports} = new WebAssembly.Instance(new WebAssembly.Module(readFileSync(process.env.KVX_COUNTED)), {});
    this.#exports = exports;
    // The linker exports what wraps the two under its own names.
    this.kvx = new kvxModule.Kvx({...exports, malloc: exports.__wrap_malloc, free: exports.__wrap_free});
  }

  get live() { return this.#exports.liveBlocks(); }

  /** Whether the memory holds the bytes anywhere. */
  holds(bytes) { return Buffer.from(this.#exports.memory.buffer).includes(bytes); }

  /** number: of allocations before the one that fails; -1: none fails. */
  failAllocation(number) { this.#exports.failAllocation(number); }
}

function isRefused(work) {
  try {
    work();
    return false;
  } catch (error) {
    if (!(error instanceof KvxError)) throw error;
    return true;
  }
}

const kJourneys = {
  fingerprint(kvx) {
    const access = kvx.open(native.accessCode, kDeviceId);
    try {
      assert.deepEqual(access.fingerprint(native.samples, native.format).codes, native.codes);
    } finally {
      access.close();
    }
  },
  'look-up and answers'(kvx) {
    const access = kvx.open(kAccessCode, kDeviceId);
    try {
      access.lookUpPacket(['a', 'bc', 'def']);
      assert.equal(access.parse(golden('answer_track.bin')).tracks[0].title, 'Low Tide');
      assert.equal(access.parse(golden('answer_album.bin')).albums[0].confidence, 97);
    } finally {
      access.close();
    }
  },
};

for (const [name, journey] of Object.entries(kJourneys)) {
  test(`nothing is left: ${name}`, () => {
    const library = new CountedLibrary();
    const before = library.live;
    const access = library.kvx.open(kAccessCode, kDeviceId);
    assert.ok(library.live > before + 2, 'is anything counted?');
    access.close();
    for (let round = 0; round < 3; ++round) {
      journey(library.kvx);
      assert.equal(library.live, before);
    }
  });

  test(`each allocation may fail: ${name}`, () => {
    const library = new CountedLibrary();
    journey(library.kvx); // what is kept for good is there now
    const before = library.live;
    let failures = 0;
    for (;; ++failures) {
      library.failAllocation(failures);
      if (!isRefused(() => journey(library.kvx))) break;
      assert.equal(library.live, before, `allocation ${failures}`);
    }
    library.failAllocation(-1);
    assert.ok(failures > 10, `${failures} failures`);
    journey(library.kvx);
    assert.equal(library.live, before);
  });
}

test('a closed access leaves no secret in the memory', () => {
  const digits = Buffer.from(native.accessCode);
  const secret = Buffer.from(native.accessCode.slice(-64), 'hex');
  for (const end of ['closed', 'refused']) {
    const library = new CountedLibrary();
    if (end === 'closed') {
      const access = library.kvx.open(digits, kDeviceId);
      assert.ok(library.holds(digits) && library.holds(secret), 'is anything looked for?');
      access.fingerprint(native.samples, native.format);
      access.close();
    } else { // by the library, which does not know the method 9
      const unknown = Buffer.from(native.accessCode.replace(/^(.{8})../, '$109'));
      assert.ok(isRefused(() => library.kvx.open(unknown, kDeviceId)));
      assert.ok(!library.holds(unknown), end);
    }
    assert.ok(!library.holds(digits), end);
    assert.ok(!library.holds(secret), end);
  }
});

test('nothing is left after failures', () => {
  const library = new CountedLibrary();
  const before = library.live;
  const {kvx} = library;
  const failures = [
    () => kvx.open('', kDeviceId),
    () => kvx.open(`0102030409000900${'0'.repeat(64)}`, kDeviceId),
    () => kvx.open(kAccessCode, ''),
  ];
  for (const failure of failures) assert.ok(isRefused(failure));
  assert.equal(library.live, before);

  const access = kvx.open(kAccessCode, kDeviceId);
  const open = library.live;
  const others = [
    () => access.session({rateHz: 44100, channels: 2, durationMs: 100}),
    () => access.session({rateHz: 44100, channels: 3, durationMs: 10000}),
    () => access.fingerprint(native.samples, {...native.format, durationMs: 60000}),
    () => access.fingerprint(native.samples, native.format, {language: 'none'}),
    () => access.lookUpPacket(['a', 'b', ',']),
    () => access.lookUpPacket(['a'], {maxMatches: -1}),
    () => access.parse(damaged),
    () => access.parse(golden('answer_track.bin').subarray(1)),
  ];
  others.forEach((failure, index) => {
    assert.ok(isRefused(failure), `failure ${index}`);
    assert.equal(library.live, open, `failure ${index}`);
  });
  access.close();
  assert.equal(library.live, before);
});

test('sessions that are never closed use the memory up, and closing them gives it back', async () => {
  const kvx = await load();
  const access = kvx.open(kAccessCode, kDeviceId);
  const format = {rateHz: 44100, channels: 2, durationMs: 30000};
  for (let round = 0; round < 2; ++round) {
    const sessions = [];
    assert.ok(isRefused(() => {
      for (;;) sessions.push(access.session(format));
    }));
    assert.ok(sessions.length > 100, `${sessions.length} sessions`);
    for (const session of sessions) session.close();
  }
  assert.equal(access.parse(golden('answer_track.bin')).types, 'T');
  access.close();
});
