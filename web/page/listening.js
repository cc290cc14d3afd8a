// SPDX-License-Identifier: Apache-2.0
// Listening: samples from the microphone to the worker, and a question after 8, 12, 20 and 30 seconds.

import {Microphone} from './microphone.js';

const kTriesMs = [8000, 12000, 20000, 30000];
const kMaxMs = kTriesMs.at(-1);

export class Listening {
  #recogniser;
  #microphone = null;
  #heardSamples = 0;
  #tries = [...kTriesMs];
  #isAsking = false;
  #over = false;
  #onProgress;
  #finish;

  constructor(recogniser) { this.#recogniser = recogniser; }

  /**
   * The answer that was found, else that of the last question; null when it was stopped before any. Throws where the
   * microphone or the server fails. onProgress gets {level, heardMs, nextMs, leftMs}.
   */
  async run(onProgress) {
    this.#onProgress = onProgress;
    const ended = new Promise((resolve, reject) => {
      this.#finish = {resolve, reject};
    });
    ended.catch(() => {}); // it may fail before anybody waits for it
    try {
      const early = []; // what comes before the rate is known
      let take = (samples) => early.push(samples);
      this.#microphone = await Microphone.open(
        (samples) => take(samples), () => this.#finish.reject(new Error('The microphone was taken away.')));
      if (this.#over) return null;
      this.#recogniser.begin(this.#microphone.rateHz);
      take = (samples) => this.#take(samples);
      early.forEach(take);
      return await ended;
    } finally {
      this.#over = true;
      this.#microphone?.close();
    }
  }

  stop() {
    this.#over = true;
    this.#finish.resolve(null);
  }

  #take(samples) {
    if (this.#over) return;
    const {rateHz} = this.#microphone;
    const level = Math.min(1, Math.sqrt(samples.reduce((sum, each) => sum + each * each, 0) / samples.length) * 4);
    this.#heardSamples += samples.length;
    const heardMs = this.#heardSamples * 1000 / rateHz;
    this.#recogniser.add(samples);
    if (heardMs >= this.#tries[0] && !this.#isAsking) this.#ask(heardMs);
    const nextMs = Math.max(0, (this.#tries[0] ?? kMaxMs) - heardMs);
    this.#onProgress({level, heardMs, nextMs, leftMs: Math.max(0, kMaxMs - heardMs)});
  }

  async #ask(heardMs) {
    while (this.#tries[0] <= heardMs) this.#tries.shift();
    const isLast = this.#tries.length === 0;
    this.#isAsking = true;
    try {
      const answer = await this.#recogniser.recognise();
      if (answer.found || isLast) this.#finish.resolve(answer);
    } catch (error) {
      this.#finish.reject(error);
    }
    this.#isAsking = false;
  }
}
