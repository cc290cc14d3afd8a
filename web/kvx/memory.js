// SPDX-License-Identifier: Apache-2.0
// The memory of the module: blocks taken from it and given back, and what it holds as JavaScript values. Every access
// makes its view anew, because memory that grows detaches the views made before.

import {KvxError} from './errors.js';

const decoder = new TextDecoder(); // of UTF-8; what is not becomes U+FFFD

const kMemberWords = 4; // of a Member of glue.cpp

export const kPcmBytes = 16384; // a multiple of 4; far below the size at which the library drops the end of a piece

export class Memory {
  #exports;
  #floats;
  #integers;
  #layouts = new Map(); // address of a record's description: the description

  /** The address of two words for what a function hands out. They are there even when no memory is left. */
  place;
  /**
   * The address of kPcmBytes for the samples of a call: one place for all sessions, because no call interrupts
   * another.
   */
  pcm;

  constructor(exports) {
    this.#exports = exports;
    this.place = this.#take(8);
    this.pcm = this.#take(kPcmBytes);
    this.#floats = this.#take(kPcmBytes);
    this.#integers = this.#take(kPcmBytes / 2);
  }

  /** Gives work a function that takes blocks, and gives all of them back in the end. */
  withBlocks(work) {
    const taken = [];
    const take = (length) => {
      const block = this.#take(length);
      taken.push(block);
      return block;
    };
    try {
      return work(take);
    } finally {
      for (const block of taken) this.#exports.free(block);
    }
  }

  /** A block that the caller frees, with a copy of the bytes and a zero byte after them. */
  copyIn(bytes) {
    const block = this.#take(bytes.length + 1);
    const copy = this.bytes(block, bytes.length + 1);
    copy.set(bytes);
    copy[bytes.length] = 0;
    return block;
  }

  free(block) { this.#exports.free(block); }

  /** A view that is good until the module is called again. */
  bytes(address, length) { return new Uint8Array(this.#exports.memory.buffer, address, length); }

  /**
   * Values from -1 to 1 as bytes of 16-bit samples: a view that is good until the module is called again. At most
   * kPcmBytes of floats; the module converts four at once.
   */
  pcmOfFloats(values) {
    new Float32Array(this.#exports.memory.buffer, this.#floats, values.length).set(values);
    this.#exports.kvxIntegersOf(this.#floats, values.length, this.#integers);
    return this.bytes(this.#integers, values.length * 2);
  }

  word(address) { return new DataView(this.#exports.memory.buffer).getUint32(address, true); }

  setWord(address, value) { new DataView(this.#exports.memory.buffer).setUint32(address, value, true); }

  short(address) { return new DataView(this.#exports.memory.buffer).getUint16(address, true); }

  /** A text that ends with a zero byte. */
  text(address) {
    const rest = new Uint8Array(this.#exports.memory.buffer, address);
    return decoder.decode(rest.subarray(0, rest.indexOf(0)));
  }

  /** A record of kvx.h as a plain object. description: what kvxRecord gave. */
  record(description, address) {
    const object = {};
    for (const member of this.#layoutOf(description).members) {
      object[member.name] = this.#value(member, address + member.offset);
    }
    return object;
  }

  #take(length) {
    const block = this.#exports.malloc(Math.max(length, 1));
    if (block === 0) throw outOfMemory();
    return block;
  }

  #value({kind, description}, place) {
    const address = this.word(place);
    switch (kind) {
      case 's':
        return this.short(place);
      case 't': // a KVXValueLength: the address of its bytes, and how many there are
        return address === 0 ? null : decoder.decode(this.bytes(this.word(address), this.word(address + 4)));
      case 'r':
        return address === 0 ? null : this.record(description, address);
      default: { // an array, and after its address the number of its elements
        const {bytes} = this.#layoutOf(description);
        const count = address === 0 ? 0 : this.short(place + 4);
        return Array.from({length: count}, (_, i) => this.record(description, address + i * bytes));
      }
    }
  }

  #layoutOf(description) {
    let layout = this.#layouts.get(description);
    if (layout === undefined) {
      const words = new Uint32Array(this.#exports.memory.buffer, description, 3);
      const [bytes, count, first] = words;
      const rows = new Uint32Array(this.#exports.memory.buffer, first, count * kMemberWords);
      const members = Array.from({length: count}, (_, i) => {
        const [name, offset, kind, record] = rows.subarray(i * kMemberWords, (i + 1) * kMemberWords);
        return {name: this.text(name), offset, kind: String.fromCharCode(kind), description: record};
      });
      layout = {bytes, members};
      this.#layouts.set(description, layout);
    }
    return layout;
  }
}

export function outOfMemory() {
  return new KvxError('memory', 'the module has no memory left; close sessions that are no longer needed');
}
