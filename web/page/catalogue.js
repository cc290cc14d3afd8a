// SPDX-License-Identifier: Apache-2.0
// The recordings of the server, where it has the JSON interface: a search, and the tracks of an album. Requests to it
// carry the access code itself, so that the page makes them over secure connections only.

import {element, shown, time} from './text.js';

const kListed = 20; // recordings in an answer
const kMaxAlbumTracks = 200;

/** Whether the server has the interface, and the page may ask it. */
export async function canBrowse() {
  if (!window.isSecureContext) return false;
  try {
    return (await fetch('v1/version', {cache: 'no-store'})).ok;
  } catch {
    return false;
  }
}

/** The tracks of an album, as {trackId, title}. */
export async function albumTracks(recogniser, albumId) {
  const album = await recogniser.look(`albums/${encodeURIComponent(albumId)}`);
  return (album?.tracks ?? []).slice(0, kMaxAlbumTracks).map(({track_id: trackId, title}) => ({trackId, title}));
}

/** Makes a form search. say shows a text, fail a fault. */
export function showSearch(recogniser, {form, query, list, more, say, fail}) {
  let after = 0;
  let words = '';

  async function look() {
    try {
      const parameters = new URLSearchParams({limit: kListed});
      if (words !== '') parameters.set('query', words);
      if (after > 0) parameters.set('after', after);
      const answer = await recogniser.look(`recordings?${parameters}`);
      list.append(...(answer?.recordings ?? []).map(recordingElement));
      after = answer?.next_after ?? 0;
      more.hidden = after === 0;
      say(
        `${list.children.length === 1 ? '1 recording' : `${list.children.length} recordings`}` +
        `${more.hidden ? '' : ', and there may be more'}.`);
    } catch (error) {
      fail(error);
    }
  }

  form.addEventListener('submit', (event) => {
    event.preventDefault();
    words = query.value.trim();
    after = 0;
    list.replaceChildren();
    look();
  });
  more.addEventListener('click', look);
}

function recordingElement({title, artist, album, duration_ms: durationMs}) {
  const parts = [artist, album].map((each) => shown(each, '')).filter((each) => each !== '');
  return element(
    'li', {}, element('bdi', {}, [shown(title, 'Unnamed track'), ...parts].join(', ')), ` (${time(durationMs)})`);
}
