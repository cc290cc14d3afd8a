// SPDX-License-Identifier: Apache-2.0
// Floats as 16-bit samples.
import assert from 'node:assert/strict';
import {readFileSync} from 'node:fs';
import {test} from 'node:test';
import {pathToFileURL} from 'node:url';
import {dice, packageFolder, wasmPath} from './support.mjs';

const {Memory} = await import(pathToFileURL(`${packageFolder}/memory.js`));
const {instance: {exports}} = await WebAssembly.instantiate(readFileSync(wasmPath), {});
exports._initialize();
const memory = new Memory(exports);

function samplesOf(values) {
  const bytes = memory.pcmOfFloats(Float32Array.from(values)).slice();
  return Array.from(new Int16Array(bytes.buffer));
}

test('floats become the nearest samples', () => {
  const kStep = 1 / 32768;
  const cases = [
    [0, 0],
    [-0, 0],
    [1, 32767],
    [-1, -32768],
    [kStep, 1],
    [-kStep, -1],
    [0.5 * kStep, 1], // halves go up
    [-0.5 * kStep, 0],
    [1.5 * kStep, 2],
    [-1.5 * kStep, -1],
    [0.49999997 * kStep, 0], // the floats beside a half
    [0.50000006 * kStep, 1],
    [-0.49999997 * kStep, 0],
    [-0.50000006 * kStep, -1],
    [32766.498 * kStep, 32766],
    [32766.5 * kStep, 32767],
    [32767.5 * kStep, 32767], // beyond the largest
    [-32768.5 * kStep, -32768],
    [-32769 * kStep, -32768],
    [3, 32767],
    [-3, -32768],
    [3e38, 32767],
    [Infinity, 32767],
    [-Infinity, -32768],
    [NaN, 0],
    [1e-45, 0], // the smallest floats
    [-1e-45, 0],
  ];
  for (const [value, wanted] of cases) {
    for (const count of [1, 4, 5]) { // alone, four at once, and what is left over
      assert.deepEqual(samplesOf(Array(count).fill(value)), Array(count).fill(wanted), `${count} times ${value}`);
    }
  }
});

test('floats of any bits become what doubles say', () => {
  const roll = dice(1);
  for (let round = 0; round < 100; ++round) {
    const bits = Uint32Array.from({length: 4095}, () => roll(2 ** 16) * 2 ** 16 + roll(2 ** 16));
    const values = new Float32Array(bits.buffer);
    const wanted = Array.from(values, (value) => {
      const nearest = Math.floor(value * 32768 + 0.5);
      return Number.isNaN(nearest) ? 0 : Math.min(Math.max(nearest, -32768), 32767);
    });
    assert.deepEqual(samplesOf(values), wanted);
  }
});
