// SPDX-License-Identifier: Apache-2.0
// Samples as a caller has them, and as the library takes them: 16 bits, little-endian, channels interleaved.

import {KvxError, check, checkInteger, checkObject} from './errors.js';

const kLowestRateHz = 11025;
const kMaxInt32 = 0x7fffffff;

const typedArray = Object.getPrototypeOf(Uint8Array.prototype);
const tagOf = Object.getOwnPropertyDescriptor(typedArray, Symbol.toStringTag).get;

/** The name of a typed array's type, also of one from another page or worker; undefined for anything else. */
export function typeOf(value) { return tagOf.call(value); }

/** Throws unless samples are of a type that pcmOf takes. */
export function checkSamples(samples) {
  check(
    ['Int16Array', 'Float32Array', 'Uint8Array'].includes(typeOf(samples)), 'argument',
    'samples must be an Int16Array, a Float32Array of values from -1 to 1, or a Uint8Array of 16-bit samples');
}

/** The elements from begin to end as bytes of PCM. memory converts floats. */
export function pcmOf(samples, begin, end, memory) {
  const part = samples.subarray(begin, end);
  switch (typeOf(part)) {
    case 'Uint8Array':
      return part;
    case 'Float32Array': // what a decoder divided by 32768 comes back as it was
      return memory.pcmOfFloats(part);
    default:
      return new Uint8Array(part.buffer, part.byteOffset, part.byteLength);
  }
}

/** Throws unless a session can be opened for the format; only that the track is long enough is left to the library. */
export function checkFormat(format) {
  checkObject(format, 'a format is needed: { rateHz, channels, durationMs }');
  check(format.channels === 1 || format.channels === 2, 'channels', 'channels must be 1 or 2; mix others to one first');
  checkInteger(format.rateHz, kLowestRateHz, kMaxInt32, 'rate', 'rateHz');
  check(
    Number.isFinite(format.durationMs) && format.durationMs >= 0, 'argument',
    'durationMs must be the length of the whole track in milliseconds');
}

/** What the library takes for a duration: whole milliseconds, and a very long track is as good as a long one. */
export function wholeMs(durationMs) { return Math.min(Math.floor(durationMs), kMaxInt32); }

/** Milliseconds of samples that begin with the track. */
export function durationOf(samples, {rateHz, channels}) {
  const perFrame = channels * (typeOf(samples) === 'Uint8Array' ? 2 : 1);
  return Math.floor(Math.floor(samples.length / perFrame) * 1000 / rateHz);
}

/** The element with which the samples after this time, in milliseconds, begin. */
export function elementAt(samples, {rateHz, channels}, ms) {
  const perFrame = channels * (typeOf(samples) === 'Uint8Array' ? 2 : 1);
  return Math.floor(ms * rateHz / 1000) * perFrame;
}

/** Samples of this time, in milliseconds, or a little more. */
export function silence(ms, {rateHz, channels}) { return new Int16Array(Math.ceil(ms * rateHz / 1000) * channels); }

/** A text or bytes as bytes; throws for anything else. */
export function bytesOf(value, reason, name) {
  if (typeof value === 'string') return new TextEncoder().encode(value);
  if (typeOf(value) === 'Uint8Array') return value;
  throw new KvxError(reason, `${name} must be a string or a Uint8Array`);
}
