// SPDX-License-Identifier: Apache-2.0
// What the tests share: the package as it was built, recordings with what the native library makes of them, and answers
// put together byte by byte. CMakeLists.txt sets the variables.
import assert from 'node:assert/strict';
import {execFileSync} from 'node:child_process';
import {readFileSync} from 'node:fs';
import {pathToFileURL} from 'node:url';

function variable(name) {
  assert.ok(process.env[name], `${name} is not set; run the tests with ctest`);
  return process.env[name];
}

export const packageFolder = variable('KVX_PACKAGE');
export const wasmPath = `${packageFolder}/kvx.wasm`;
export const kvxModule = await import(pathToFileURL(`${packageFolder}/kvx.js`));
export const {KvxError, load} = kvxModule;

export const kDeviceId = '00:11:22:33:44:5';
export const kAccessCode = `0102030403000300${'5a'.repeat(32)}`; // account 0x04030201, Blowfish and MD4

/** A recording, and what the native library makes of it. */
export function recording(seed, rateHz, channels, durationMs) {
  const words = [seed, rateHz, channels, durationMs].map(String);
  const output = execFileSync(variable('KVX_REFERENCE'), words, {maxBuffer: 1 << 26});
  const end = output.indexOf(0x0a);
  // A copy, so that the samples are aligned.
  const samples = new Int16Array(new Uint8Array(output.subarray(end + 1)).buffer);
  return {...JSON.parse(output.subarray(0, end)), samples, format: {rateHz, channels, durationMs}};
}

export function hex(bytes) { return Buffer.from(bytes).toString('hex'); }

/** Bytes of tests/data. */
export function golden(name) { return readFileSync(`${variable('KVX_TEST_DATA')}/${name}`); }

/** What a test expects of a failure. */
export function failsWith(reason) {
  return (error) => {
    assert.ok(error instanceof KvxError, `${error}`);
    assert.equal(error.reason, reason, error.message);
    assert.ok(error.message.length > 20, error.message);
    return true;
  };
}

/** A generator of numbers from 0 to below most, the same in each run. */
export function dice(seed) {
  let state = seed >>> 0;
  return (most) => {
    state = (Math.imul(state, 1664525) + 1013904223) >>> 0;
    return Math.floor(state / 2 ** 32 * most);
  };
}

function u32(value) {
  const bytes = Buffer.alloc(4);
  bytes.writeUInt32LE(value);
  return bytes;
}

/** A blob: the number of fields, their offsets and the end, and the fields. */
export function blob(fields) {
  const data = fields.map((field) => Buffer.from(field));
  let offset = 1 + 4 * (fields.length + 1);
  const offsets = [u32(offset)];
  for (const field of data) offsets.push(u32(offset += field.length));
  return Buffer.concat([Buffer.from([fields.length]), ...offsets, ...data]);
}

/** An array field: the number of elements, their offsets and the end, and the elements. A blob has the same form. */
export const arrayField = blob;

/** A record of an answer. */
export function answerRecord(type, data) { return Buffer.concat([Buffer.from(type), u32(data.length), data]); }
