// SPDX-License-Identifier: Apache-2.0
// The page: what its controls do.

import {deviceId, forgetCode, keepCode, keptCode} from './account.js';
import {albumTracks, canBrowse, showSearch} from './catalogue.js';
import {decodeFile} from './decoding.js';
import {showFigures} from './figures.js';
import {Listening} from './listening.js';
import {whyNoMicrophone} from './microphone.js';
import {Recogniser} from './recogniser.js';
import {albumElements, matchElements, titleElement, titleLine, unknownElements} from './result.js';
import {element, shown, time} from './text.js';
import {TrackList, kWindowMs, windowsOf} from './track_list.js';

const kLongMs = 90000; // from here on a file may hold several tracks
const kUnknown = 'This music is not known here';
const kExplanations = {
  'source': 'A part of the page cannot be loaded. Check the connection and the server, and try again.',
  'too-short': 'This sound is too short: a fingerprint needs at least 7 seconds.',
  'memory': 'The page has no memory left for this sound. Load the page again.',
};

const byId = (id) => document.getElementById(id);
const recogniser = new Recogniser();
let isBusy = false;
let listening = null;
let search = null;  // of all tracks; {isOver}
let durationMs = 0; // of the file

function say(text) { byId('status').textContent = text; }

/** A fault, and what can be done again where that may help. */
function sayFault(error, again) {
  const status = byId('status');
  status.replaceChildren(kExplanations[error.reason] ?? error.message);
  if (again !== undefined && ['gone', 'busy', 'failed'].includes(error.reason)) {
    const button = element('button', {type: 'button', id: 'again'}, 'Try again');
    button.addEventListener('click', again);
    status.append(' ', button);
  }
  if (error.reason === 'refused' || error.reason === 'access-code') showAccess(false);
}

// Access.

function showAccess(isHeld) {
  byId('access-form').hidden = isHeld;
  byId('access-held').hidden = !isHeld;
}

async function useCode(code) {
  await recogniser.open(code, deviceId());
  showAccess(true);
  byId('catalogue').hidden = !await canBrowse();
}

function accessFault({reason, message}) {
  if (reason === 'access-code') return `This is no access code: ${message}.`;
  return kExplanations[reason] ?? message;
}

byId('access-form').addEventListener('submit', async (event) => {
  event.preventDefault();
  const code = byId('code').value.trim();
  byId('access-fault').textContent = '';
  try {
    await useCode(code);
    if (byId('keep').checked) keepCode(code);
    byId('code').value = '';
    say('The access code is set. Choose a file or listen.');
    byId('file').focus();
  } catch (error) {
    byId('access-fault').textContent = accessFault(error);
    byId('code').focus();
  }
});

byId('forget').addEventListener('click', () => {
  forgetCode();
  recogniser.close();
  showAccess(false);
  byId('catalogue').hidden = true;
  byId('catalogue-list').replaceChildren();
  say('The access code is forgotten.');
  byId('code').focus();
});

// Results.

function clearResult() {
  byId('result').hidden = true;
  byId('list').hidden = true;
  if (search !== null) search.isOver = true;
}

function showResult(answer, source) {
  const line = answer.found ? titleLine(answer) : kUnknown;
  byId('result-title').replaceChildren(answer.found ? titleElement(answer) : kUnknown);
  byId('result-body')
    .replaceChildren(...(answer.found ? matchElements(answer) : unknownElements(answer, listening !== null)));
  byId('result').hidden = false;
  byId('result').classList.toggle('found', answer.found);
  say(answer.found ? `Recognised: ${line}.` : 'Not recognised.');
  byId('result-title').focus();
  if (answer.found) showAlbum(answer);
  const now = new Date().toLocaleTimeString();
  byId('history').hidden = false;
  byId('history-list').prepend(element('li', {}, `${line} (${source}, ${now})`));
}

/** Adds the tracks of the album, where the server tells them. */
async function showAlbum({tracks: [track], albums: [album]}) {
  const title = byId('result-title').firstChild;
  const isBrowsed = !byId('catalogue').hidden && album?.albumId;
  // What was recognised stays recognised, with its album or without.
  const tracks = isBrowsed ? await albumTracks(recogniser, album.albumId).catch(() => []) : [];
  if (byId('result-title').firstChild === title) byId('result-body').append(...albumElements(tracks, track));
}

/** Does one thing at a time. */
async function alone(work) {
  if (isBusy) {
    say('One moment: the page is still busy with the sound before.');
    return;
  }
  isBusy = true;
  clearResult();
  try {
    await work();
  } finally {
    isBusy = false;
  }
}

// Files.

async function ask(source) {
  say('Asking the server…');
  try {
    const answer = await recogniser.recognise();
    performance.measure('tarn-fingerprint', {start: 0, duration: answer.fingerprintMs});
    showResult(answer, source);
    byId('list').hidden = durationMs < kLongMs;
  } catch (error) {
    sayFault(error, () => alone(() => ask(source)));
  }
}

function takeFile(file) {
  return alone(async () => {
    const start = performance.now();
    say(`Reading ${shown(file.name, 'the file')}…`);
    byId('list-tracks').replaceChildren();
    let sound;
    try {
      sound = await decodeFile(file);
    } catch (error) {
      sayFault(error);
      return;
    }
    durationMs = sound.samples.length * 1000 / sound.rateHz;
    recogniser.begin(sound.rateHz);
    recogniser.add(sound.samples);
    await ask(shown(file.name, 'a file'));
    performance.measure('tarn-file-to-answer', {start, end: performance.now()});
  });
}

byId('file').addEventListener('change', ({target}) => {
  const [file] = target.files;
  if (file !== undefined)
    takeFile(file).then(() => {
      target.value = '';
    }); // so that it can be chosen again
});
addEventListener('dragover', (event) => {
  event.preventDefault();
  byId('drop').classList.add('over');
});
addEventListener('dragleave', ({relatedTarget}) => {
  if (relatedTarget === null) byId('drop').classList.remove('over');
});
addEventListener('drop', (event) => {
  event.preventDefault();
  byId('drop').classList.remove('over');
  const [file] = event.dataTransfer.files;
  if (file !== undefined) takeFile(file);
});

// All tracks of a long file.

function showTracks(list) {
  byId('list-tracks')
    .replaceChildren(...list.entries.map(
      ({fromMs, toMs, answer}) => element('li', {}, `${time(fromMs)} to ${time(toMs)}: ${titleLine(answer)}`)));
}

async function findTracks() {
  const [button, progress] = [byId('list-button'), byId('list-progress')];
  const windows = windowsOf(durationMs);
  const list = new TrackList();
  const mine = {isOver: false};
  search = mine;
  button.textContent = 'Stop the search';
  progress.hidden = false;
  try {
    for (const [index, fromMs] of windows.entries()) {
      const answer = await recogniser.recognise({fromMs, lengthMs: kWindowMs});
      if (mine.isOver) break;
      list.add(fromMs, answer);
      progress.value = (index + 1) / windows.length;
      showTracks(list);
    }
    say(`${list.entries.length === 1 ? '1 track' : `${list.entries.length} tracks`} found.`);
  } catch (error) {
    sayFault(error);
  }
  mine.isOver = true;
  button.textContent = 'Find all tracks';
  progress.hidden = true;
}

byId('list-button').addEventListener('click', () => {
  if (search !== null && !search.isOver) {
    search.isOver = true;
  } else {
    findTracks();
  }
});

// The microphone.

function showProgress({level, heardMs, nextMs, leftMs}) {
  byId('level').value = level;
  const seconds = (ms) => Math.ceil(ms / 1000);
  byId('heard').textContent = `${Math.floor(heardMs / 1000)} s heard; next try in ${seconds(nextMs)} s, at most ` +
    `${seconds(leftMs)} s more.`;
}

async function listen() {
  const button = byId('listen-button');
  listening = new Listening(recogniser);
  durationMs = 0;
  button.textContent = 'Stop listening';
  byId('listening').hidden = false;
  say('Listening…');
  try {
    const answer = await listening.run(showProgress);
    if (answer === null) {
      say('Stopped.');
    } else {
      showResult(answer, 'microphone');
    }
  } catch (error) {
    sayFault(error, () => alone(() => ask('microphone')));
  }
  listening = null;
  byId('listening').hidden = true;
  button.textContent = 'Listen';
}

byId('listen-button').addEventListener('click', () => {
  if (listening !== null) {
    listening.stop();
  } else {
    alone(listen);
  }
});

// The start.

const noMicrophone = whyNoMicrophone();
if (noMicrophone !== null) {
  byId('listen-button').disabled = true;
  byId('listen-help').textContent = noMicrophone;
}
showFigures(byId('figures'), {
  note: byId('figures-note'),
  list: byId('figures-list'),
  line: byId('figures-chart').firstElementChild,
});
showSearch(recogniser, {
  form: byId('catalogue-form'),
  query: byId('query'),
  list: byId('catalogue-list'),
  more: byId('catalogue-more'),
  say: (text) => {
    byId('catalogue-note').textContent = text;
  },
  fail: (error) => {
    byId('catalogue-note').textContent = error.message;
  },
});
const kept = keptCode();
if (kept !== null) useCode(kept).catch(() => showAccess(false));
document.documentElement.dataset.ready = 'true';
