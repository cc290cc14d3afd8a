// SPDX-License-Identifier: Apache-2.0
// The page's side of the worker: its operations as functions that return promises.

export class Recogniser {
  #worker = new Worker(new URL('worker.js', import.meta.url), {type: 'module'});
  #waiting = new Map();
  #nextId = 1;

  constructor() {
    this.#worker.addEventListener('message', ({data: {id, value, fault}}) => {
      const {resolve, reject} = this.#waiting.get(id);
      this.#waiting.delete(id);
      if (fault === undefined) {
        resolve(value);
      } else {
        reject(Object.assign(new Error(fault.message), {reason: fault.reason}));
      }
    });
    // Only a file of the page that cannot be loaded ends here.
    this.#worker.addEventListener('error', () => {
      const error = Object.assign(new Error('The page is incomplete. Load it again.'), {reason: 'failed'});
      for (const {reject} of this.#waiting.values()) reject(error);
      this.#waiting.clear();
    });
  }

  open(code, deviceId) { return this.#ask('open', {code, deviceId}); }
  close() { return this.#ask('close'); }
  begin(rateHz) { return this.#ask('begin', {rateHz}); }
  /** The samples belong to the worker afterwards. */
  add(samples) { return this.#ask('add', {samples}, [samples.buffer]); }
  recognise(part) { return this.#ask('recognise', part); }

  #ask(name, value, moved = []) {
    const id = this.#nextId++;
    return new Promise((resolve, reject) => {
      this.#waiting.set(id, {resolve, reject});
      this.#worker.postMessage({id, name, value}, moved);
    });
  }
}
