// SPDX-License-Identifier: Apache-2.0
// The page's side of the worker: its operations as functions that return promises.

export class Recogniser {
  #worker = null;
  #waiting = new Map();
  #nextId = 1;

  open(code, deviceId) { return this.#ask('open', {code, deviceId}); }
  close() { return this.#ask('close'); }
  begin(rateHz) { return this.#ask('begin', {rateHz}); }
  /** The samples belong to the worker afterwards. */
  add(samples) { return this.#ask('add', {samples}, [samples.buffer]); }
  recognise(part) { return this.#ask('recognise', part); }
  /** What the JSON interface of the server has at a path below v1/. */
  look(path) { return this.#ask('look', {path}); }

  #ask(name, value, moved = []) {
    this.#worker ??= this.#start();
    const id = this.#nextId++;
    return new Promise((resolve, reject) => {
      this.#waiting.set(id, {resolve, reject});
      this.#worker.postMessage({id, name, value}, moved);
    });
  }

  #start() {
    const worker = new Worker(new URL('worker.js', import.meta.url), {type: 'module'});
    worker.addEventListener('message', ({data: {id, value, fault}}) => {
      const {resolve, reject} = this.#waiting.get(id);
      this.#waiting.delete(id);
      if (fault === undefined) {
        resolve(value);
      } else {
        reject(Object.assign(new Error(fault.message), {reason: fault.reason}));
      }
    });
    // A file of the worker could not be loaded. The next question starts another one.
    worker.addEventListener('error', () => {
      this.#worker = null;
      const error = Object.assign(new Error('a file of the page cannot be loaded'), {reason: 'source'});
      for (const {reject} of this.#waiting.values()) reject(error);
      this.#waiting.clear();
    });
    return worker;
  }
}
