// SPDX-License-Identifier: Apache-2.0
// Runs on the browser's audio thread: gathers the microphone's samples and posts them in pieces.

const kPieceSamples = 4096; // less than a tenth of a second

registerProcessor('capture', class extends AudioWorkletProcessor {
  #piece = new Float32Array(kPieceSamples);
  #filled = 0;

  process([[samples]]) {
    if (samples === undefined) return true; // the microphone is not connected yet
    this.#piece.set(samples, this.#filled); // 128 samples, of which a piece is a multiple
    this.#filled += samples.length;
    if (this.#filled === kPieceSamples) {
      this.port.postMessage(this.#piece, [this.#piece.buffer]);
      this.#piece = new Float32Array(kPieceSamples);
      this.#filled = 0;
    }
    return true;
  }
});
