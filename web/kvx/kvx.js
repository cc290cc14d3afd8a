// SPDX-License-Identifier: Apache-2.0
// The module's face: load gives the library, which opens accesses. kvx.d.ts documents all of it.

import {Access} from './access.js';
import {KvxError} from './errors.js';
import {Memory} from './memory.js';
import {Session} from './session.js';

export {Access, KvxError, Session};

export async function load(source = new URL('./kvx.wasm', import.meta.url)) {
  let instance;
  try {
    const module = await moduleOf(source);
    instance = await WebAssembly.instantiate(module, {});
  } catch (error) {
    if (error instanceof KvxError) throw error;
    throw new KvxError('source', `the module cannot be loaded: ${error.message}; is it the kvx.wasm of this package?`);
  }
  return new Kvx(instance.exports);
}

export class Kvx {
  #library;
  #memory;

  /** load makes these. */
  constructor(exports) {
    if (typeof exports?.kvxVersion !== 'function') {
      throw new KvxError('source', 'the module is not the kvx.wasm of this package; load that one');
    }
    exports._initialize();
    this.#library = exports;
    this.#memory = new Memory(exports);
  }

  get version() { return this.#memory.text(this.#library.kvxVersion()); }

  open(accessCode, deviceId, options = {}) {
    return new Access(this.#library, this.#memory, accessCode, deviceId, options);
  }
}

async function moduleOf(source) {
  if (source instanceof WebAssembly.Module) return source;
  const isAddress = typeof source === 'string' || source instanceof URL;
  return WebAssembly.compile(isAddress ? await bytesAt(source) : source);
}

async function bytesAt(address) {
  const url = new URL(address, globalThis.location?.href);
  if (url.protocol === 'file:') { // what fetch does not read in node
    const {readFile} = await import('node:fs/promises');
    return readFile(url);
  }
  const response = await fetch(url);
  if (!response.ok) throw new KvxError('source', `the module cannot be loaded: ${url.href} answers ${response.status}`);
  return response.arrayBuffer();
}
