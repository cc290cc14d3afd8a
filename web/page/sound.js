// SPDX-License-Identifier: Apache-2.0
// Mono samples that come in pieces.

export class Sound {
  #pieces = [];
  #count = 0;

  constructor(rateHz) { this.rateHz = rateHz; }

  add(samples) {
    this.#pieces.push(samples);
    this.#count += samples.length;
  }

  /** The samples from fromMs on, lengthMs of them or as many as there are. */
  part(fromMs = 0, lengthMs = Infinity) {
    const begin = Math.floor(fromMs * this.rateHz / 1000);
    return this.#joined().subarray(begin, begin + Math.floor(lengthMs * this.rateHz / 1000));
  }

  #joined() {
    if (this.#pieces.length !== 1) {
      const all = new Float32Array(this.#count);
      let at = 0;
      for (const piece of this.#pieces) {
        all.set(piece, at);
        at += piece.length;
      }
      this.#pieces = [all];
    }
    return this.#pieces[0];
  }
}
