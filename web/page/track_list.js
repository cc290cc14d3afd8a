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
 * another one, between two of the same track does not part them. Copies of a recording are one track.
 */
export class TrackList {
  #entries = [];

  add(fromMs, answer) {
    if (!answer.found) return;
    const toMs = fromMs + kWindowMs;
    const ids = idsOf(answer);
    const near = this.#entries.slice(-2).find(
      (entry) => fromMs - entry.lastMs <= 2 * kStepMs && ids.some((id) => entry.ids.has(id)));
    if (near === undefined) {
      this.#entries.push({ids: new Set(ids), fromMs, toMs, lastMs: fromMs, answer});
    } else {
      Object.assign(near, {toMs, lastMs: fromMs});
      ids.forEach((id) => near.ids.add(id));
    }
  }

  get entries() { return this.#entries; }
}

/** What names the recording of an answer, and its copies. */
function idsOf({tracks: [track], albums: [album], place}) {
  return [track?.trackId ?? album?.albumId ?? '', ...place.companions];
}
