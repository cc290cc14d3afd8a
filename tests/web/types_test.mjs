// SPDX-License-Identifier: Apache-2.0
// kvx.d.ts declares what kvx.js has, and nothing else.
import assert from 'node:assert/strict';
import {readFileSync} from 'node:fs';
import {test} from 'node:test';
import {failsWith, golden, kAccessCode, kDeviceId, kvxModule, load, packageFolder, recording} from './support.mjs';

const declarations =
  readFileSync(`${packageFolder}/kvx.d.ts`, 'utf8').replace(/\/\*\*.*?\*\//gs, '').replace(/\/\/.*/g, '');

/** The names that a class or interface declares. */
function membersOf(name) {
  const [, body] = declarations.match(new RegExp(`export (?:class|interface) ${name}\\b[^{]*{(.*?)\n}`, 's'));
  const names = [...body.matchAll(/^ {2}(?:readonly )?([a-z]\w*)[?(:]/gmi)].map((match) => match[1]);
  return names.filter((member) => member !== 'constructor').sort();
}

test('every export is declared', () => {
  const declared = [...declarations.matchAll(/export (?:class|function) (\w+)/g)].map((match) => match[1]);
  assert.deepEqual(declared.sort(), Object.keys(kvxModule).sort());
});

for (const name of ['Kvx', 'Access', 'Session']) {
  test(`every member of ${name} is declared`, () => {
    const members = Object.getOwnPropertyNames(kvxModule[name].prototype).filter((member) => member !== 'constructor');
    assert.deepEqual(membersOf(name), members.sort());
  });
}

test('every member of a result is declared', async () => {
  const access = (await load()).open(kAccessCode, kDeviceId);
  const native = recording(6, 22050, 1, 6500);
  const {tracks: [track]} = access.parse(golden('answer_track.bin'));
  const answer = access.parse(golden('answer_album.bin'));
  const results = {
    Fingerprint: access.fingerprint(native.samples, native.format),
    Track: track,
    Artist: track.artists[0],
    Answer: answer,
    Album: answer.albums[0],
  };
  for (const [name, result] of Object.entries(results))
    assert.deepEqual(membersOf(name), Object.keys(result).sort(), name);
  access.close();
});

test('every reason that the sources give is declared, and the other way round', () => {
  const [, list] = declarations.match(/export type Reason =(.*?);/s);
  const declared = [...list.matchAll(/'([a-z-]+)'/g)].map((match) => match[1]).sort();
  const given = new Set();
  for (const name of ['access', 'answer', 'handle', 'kvx', 'memory', 'packet', 'samples', 'session', 'errors']) {
    const source = readFileSync(`${packageFolder}/${name}.js`, 'utf8');
    for (const reason of declared)
      if (source.includes(`'${reason}'`)) given.add(reason);
    for (const [, reason] of source.matchAll(/KvxError\('([^']*)'/g)) assert.ok(declared.includes(reason), reason);
  }
  assert.deepEqual([...given].sort(), declared);
});

test('a KvxError is an Error with a name', () => {
  const error = new kvxModule.KvxError('rate', 'the message of an error');
  assert.ok(error instanceof Error && failsWith('rate')(error));
  assert.equal(String(error), 'KvxError: the message of an error');
});
