// SPDX-License-Identifier: Apache-2.0
// The tracks of a long recording: a question about every window of it, and neighbours with the same answer joined.

export const kWindowMs = 12000;
export const kStepMs = 6000;

/** Where the windows of a recording begin. */
export function windowsOf(durationMs) {
  const count = Math.floor(Math.max(0, durationMs - kWindowMs) / kStepMs) + 1;
  return Array.from({length: count}, (_, i) => i * kStepMs);
}

/**
 * Joins the answers of windows in order: {fromMs, toMs, answer} for each track. A window without an answer, or with
 * another one, between two of the same track does not part them.
 */
export class TrackList {
  #entries = [];

  add(fromMs, answer) {
    if (!answer.found) return;
    const toMs = fromMs + kWindowMs;
    const id = idOf(answer);
    const near = this.#entries.slice(-2).find((entry) => entry.id === id && fromMs - entry.lastMs <= 2 * kStepMs);
    if (near === undefined) {
      this.#entries.push({id, fromMs, toMs, lastMs: fromMs, windows: 1, answer});
    } else {
      Object.assign(near, {toMs, lastMs: fromMs, windows: near.windows + 1});
    }
  }

  get entries() { return this.#entries; }
}

function idOf({tracks: [track], albums: [album]}) { return track?.trackId ?? album?.albumId ?? track?.title ?? null; }
