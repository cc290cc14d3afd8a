// SPDX-License-Identifier: Apache-2.0
// A handle of the library, which its owner closes.

import {check} from './errors.js';

const kBare = 'B'.charCodeAt(0); // framing: packets and answers without HTTP around them

export class Handle {
  #library;
  #memory;
  #address;

  /** code: the address of an access code's digits. */
  constructor(library, memory, code, deviceId, clientKind) {
    this.#library = library;
    this.#memory = memory;
    const id = memory.copyIn(deviceId);
    const status = library.KVXInit(memory.place, code, id, deviceId.length, 0, 0, kBare, kBare, clientKind, 0, 0);
    memory.free(id);
    check(
      status === 0, 'access-code',
      'the access code names a signing method that the library does not know, or ' +
        'the module has no memory left; copy the code again from the account, or close sessions');
    this.#address = memory.word(memory.place);
  }

  /** 0 once it is closed. */
  get address() { return this.#address; }

  close() {
    if (this.#address === 0) return;
    this.#memory.setWord(this.#memory.place, this.#address);
    this.#library.KVXShutdown(this.#memory.place);
    this.#address = 0;
  }
}
