// SPDX-License-Identifier: Apache-2.0
// An answer of the server as elements of the page.

import {element, foreign, shown, time} from './text.js';

const kNoTitle = 'Unnamed track';

/** "Title, by Artist", as plain text. */
export function titleLine({tracks: [track], albums: [album]}) {
  const artist = shown(track?.artist ?? album?.artist, '');
  return shown(track?.title, kNoTitle) + (artist === '' ? '' : `, by ${artist}`);
}

/** The title of the best match. */
export function titleElement({tracks: [track]}) { return foreign(track?.title, kNoTitle); }

/** The elements that show a match. */
export function matchElements(answer) {
  const {tracks: [track], albums: [album], place} = answer;
  const facts = element('dl');
  const fact = (name, ...values) =>
    facts.append(element('div', {}, element('dt', {}, name), element('dd', {}, ...values)));
  fact('Artist', foreign(track?.artist ?? album?.artist, 'not known'));
  if (shown(album?.title, '') !== '') fact('Album', foreign(album.title, ''));
  const confidence = Math.max(0, Math.min(100, album?.confidence ?? 0));
  fact('Confidence', meter('Confidence', confidence), ` ${confidence} %`);
  if (place.offsetMs !== null && place.durationMs > 0) {
    const where = `at ${time(place.offsetMs)} of ${time(place.durationMs)}`;
    fact('Place', placeBar(place, where), ` ${where}`);
  }
  if (place.companions.length > 0) fact('Further copies', shown(place.companions.join(', '), ''));
  return [facts, timesElement(answer)];
}

/** What a page says that knows no answer. */
export function unknownElements(answer, isListening) {
  const advice = isListening ?
    ['Move the device closer to the music, or make it louder.', 'Stop other sounds, such as talk.'] :
    ['Choose another part of the recording, of at least 12 seconds.'];
  return [
    element(
      'p', {},
      'No recording in the catalogue of this server is close enough. It may not be there, or there was ' +
        'too much other sound.'),
    element(
      'ul', {}, ...advice.map((each) => element('li', {}, each)),
      element('li', {}, 'Ask the owner of the server to add the recording.')),
    timesElement(answer),
  ];
}

function meter(label, value) {
  return element('meter', {'aria-label': label, min: 0, max: 100, low: 85, optimum: 100, value}, `${value} %`);
}

/** A bar as long as the recording, with a marker where the query begins. */
function placeBar({offsetMs, durationMs}, label) {
  const marker = element('span', {class: 'marker'});
  marker.style.insetInlineStart = `${Math.min(100, offsetMs / durationMs * 100)}%`;
  return element('span', {class: 'bar', role: 'img', 'aria-label': label}, marker);
}

/** The tracks of an album, of which one was recognised. */
export function albumElements(tracks, recognised) {
  if (tracks.length === 0) return [];
  const item = (each) => {
    const isThis = each.trackId !== null && each.trackId === recognised?.trackId;
    return element('li', isThis ? {'aria-current': 'true'} : {}, foreign(each.title, kNoTitle));
  };
  return [element('h3', {}, 'On this album'), element('ol', {}, ...tracks.map(item))];
}

function timesElement({fingerprintMs, serverMs}) {
  const text = `Fingerprint in ${fingerprintMs.toFixed(1)} ms, answer in ${serverMs.toFixed(1)} ms.`;
  return element('p', {class: 'times'}, text);
}
