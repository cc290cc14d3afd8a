// SPDX-License-Identifier: Apache-2.0
// The access to a recognition server that an account has: it signs requests and reads answers.

import {readAnswer} from './answer.js';
import {check, checkObject} from './errors.js';
import {Handle} from './handle.js';
import {takePacket} from './packet.js';
import {bytesOf, checkSamples, durationOf, elementAt, silence} from './samples.js';
import {Session} from './session.js';

const kCodeDigits = 80;
const kMaxIdBytes = 16;
const kMaxIdListBytes = 1 << 20;
const kMaxSilenceMs = 10; // a track a little longer than 74005 ms ends up to 7 ms before its fingerprint is complete

export class Access {
  #library;
  #memory;
  #code = 0; // address of the access code's digits
  #deviceId;
  #clientKind;
  #handle = null;

  /** Kvx makes these. */
  constructor(library, memory, accessCode, deviceId, options) {
    checkObject(options, 'the options of an access must be an object: { clientKind }');
    const {clientKind = 'S'} = options;
    const digits = digitsOf(accessCode);
    this.#deviceId = new Uint8Array(bytesOf(deviceId, 'device-id', 'the device id'));
    const {length} = this.#deviceId;
    check(
      length >= 1 && length <= kMaxIdBytes, 'device-id',
      `the device id must have 1 to ${kMaxIdBytes} bytes; it has ${length}`);
    check(
      typeof clientKind === 'string' && /^[!-~]$/.test(clientKind), 'argument',
      'clientKind must be one character of ASCII');
    this.#library = library;
    this.#memory = memory;
    this.#clientKind = clientKind.charCodeAt(0);
    this.#code = memory.copyIn(digits);
    digits.fill(0);
    try {
      this.#handle = this.#openHandle();
    } catch (error) {
      this.close();
      throw error;
    }
  }

  session(format) {
    this.#checkOpen();
    return new Session(this.#library, this.#memory, format, () => this.#openHandle());
  }

  fingerprint(samples, format, request = {}) {
    this.#checkOpen();
    checkSamples(samples);
    checkObject(format, 'a format is needed: { rateHz, channels }');
    const {rateHz, channels, durationMs = durationOf(samples, format)} = format;
    const session = this.session({rateHz, channels, durationMs});
    try {
      session.feed(samples.subarray(elementAt(samples, format, session.startMs)));
      if (session.missingMs <= kMaxSilenceMs) session.feed(silence(session.missingMs, format));
      return {codes: session.codes, packet: session.packet(request)};
    } finally {
      session.close();
    }
  }

  lookUpPacket(ids, options = {}) {
    this.#checkOpen();
    checkObject(options, 'the options of a look-up must be an object: { kind, maxMatches, language }');
    const {kind = 'A', ...request} = options;
    check(
      typeof kind === 'string' && /^[A-Z]$/.test(kind), 'argument',
      'kind must be a capital letter: "A" for albums, "T" for tracks');
    const list = idBytes(ids);
    return this.#memory.withBlocks((take) => {
      const array = take(list.length * 8); // KVXValueLength: the address of the bytes, and their number
      list.forEach((id, index) => {
        const copy = take(id.length);
        this.#memory.bytes(copy, id.length).set(id);
        this.#memory.setWord(array + index * 8, copy);
        this.#memory.setWord(array + index * 8 + 4, id.length);
      });
      return takePacket(
        this.#library, this.#memory, request, 'KVXFreeMetaIDRequest',
        (options, packet, length) => this.#library.KVXGenerateMetaIDRequest(
          this.#handle.address, kind.charCodeAt(0), array, list.length, options.maxMatches, options.language, packet,
          length));
    });
  }

  parse(answer) {
    this.#checkOpen();
    return readAnswer(this.#library, this.#memory, this.#handle.address, answer);
  }

  close() {
    if (this.#code !== 0) {
      this.#memory.bytes(this.#code, kCodeDigits).fill(0);
      this.#memory.free(this.#code);
      this.#code = 0;
    }
    this.#handle?.close();
    this.#handle = null;
  }

  #openHandle() { return new Handle(this.#library, this.#memory, this.#code, this.#deviceId, this.#clientKind); }

  #checkOpen() { check(this.#handle !== null, 'closed', 'the access is closed; open another one'); }
}

/**
 * The digits of an access code as bytes of their own; white space around them, such as the end of a line, is left out.
 */
function digitsOf(accessCode) {
  const bytes = bytesOf(accessCode, 'access-code', 'the access code');
  const isSpace = (byte) => byte === 0x20 || (byte >= 0x09 && byte <= 0x0d);
  let [begin, end] = [0, bytes.length];
  while (begin < end && isSpace(bytes[begin])) ++begin;
  while (end > begin && isSpace(bytes[end - 1])) --end;
  const digits = new Uint8Array(bytes.subarray(begin, end)); // a copy; slice gives a view of a Buffer of node
  const isHex = (byte) =>
    (byte >= 0x30 && byte <= 0x39) || (byte >= 0x41 && byte <= 0x46) || (byte >= 0x61 && byte <= 0x66);
  check(
    digits.length === kCodeDigits && digits.every(isHex), 'access-code',
    `an access code has ${kCodeDigits} hexadecimal digits; copy all of it`);
  return digits;
}

/** The ids of a look-up as bytes. */
function idBytes(ids) {
  check(Array.isArray(ids) && ids.length > 0, 'argument', 'ids must be an array of at least one id');
  let left = kMaxIdListBytes;
  return Array.from(ids, (id) => {
    const bytes = bytesOf(id, 'argument', 'an id');
    left -= bytes.length + 1;
    check(left >= 0, 'argument', 'the ids are too many or too long; look up some at a time');
    check(bytes.length > 0 && !bytes.includes(0x2c), 'argument', 'an id must have at least one byte, and no comma');
    return bytes;
  });
}
