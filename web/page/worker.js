// SPDX-License-Identifier: Apache-2.0
// The worker of the page: it holds the sound and the account's access, fingerprints, asks the server and reads answers.
// A message is {id, name, value}; the answer {id, value} or {id, fault: {reason, message}}.

import {KvxError, load} from './kvx/kvx.js';
import {Sound} from './sound.js';

const kMaxMatches = 5;
const kWarmUp = {
  rateHz: 22050,
  seconds: 12,
  rounds: 3
};

/** A failure that the page explains. reason: of KvxError, or "refused", "busy", "gone", "failed". */
class Fault extends Error {
  constructor(reason, message) {
    super(message);
    this.reason = reason;
  }
}

let library = null;
let access = null;
let accessCode = '';
let sound = new Sound(0);

const operations = {
  /** Opens the account's access. */
  async open({code, deviceId}) {
    library ??= await load(); // once, and again where that failed
    const opened = library.open(code, deviceId);
    access?.close();
    access = opened;
    accessCode = code;
    setTimeout(() => warmUp(opened)); // after the answer
  },

  close() {
    access?.close();
    access = null;
    accessCode = '';
  },

  /** What the JSON interface of the server has at a path. */
  async look({path}) {
    const response = await ask(`v1/${path}`, {headers: {Authorization: `Bearer ${accessCode}`}});
    return response.json();
  },

  /** Begins a sound. */
  begin({rateHz}) { sound = new Sound(rateHz); },

  /** Adds a piece to the sound. */
  add({samples}) { sound.add(samples); },

  /** Recognises the sound, or a part of it. */
  async recognise({fromMs, lengthMs} = {}) {
    if (access === null) throw new Fault('access-code', 'paste the access code of an account first');
    const samples = sound.part(fromMs, lengthMs);
    const start = performance.now();
    const {packet} = access.fingerprint(samples, {rateHz: sound.rateHz, channels: 1}, {maxMatches: kMaxMatches});
    const sending = performance.now();
    const response = await post(packet);
    const answer = access.parse(await response.arrayBuffer());
    const asked = performance.now();
    return {
      ...answer,
      place: placeOf(response.headers.get('Tarn-Match')),
      fingerprintMs: sending - start,
      serverMs: asked - sending,
    };
  },
};

/** Browsers compile the functions of a module well only once they are used: do it before the first sound comes. */
function warmUp(opened) {
  if (opened !== access) return;
  const noise = Float32Array.from({length: kWarmUp.rateHz * kWarmUp.seconds}, () => Math.random() - 0.5);
  try {
    for (let i = 0; i < kWarmUp.rounds; ++i) opened.fingerprint(noise, {rateHz: kWarmUp.rateHz, channels: 1});
  } catch {
    // Whatever is wrong is wrong with the first sound too, which says so.
  }
}

function post(packet) {
  const form = new FormData();
  form.append('data', new Blob([packet]));
  return ask('sdkrequest', {method: 'POST', body: form});
}

/** The answer to a request; a Fault where there is none. */
async function ask(address, options) {
  let response;
  try {
    response = await fetch(address, {...options, cache: 'no-store', credentials: 'same-origin'});
  } catch {
    throw new Fault('gone', 'The server does not answer. Check the connection and the server.');
  }
  const {ok, status} = response;
  if (ok) return response;
  if (status === 401 || status === 403) {
    throw new Fault('refused', 'The server does not know this access code. Ask its owner for one that is good.');
  }
  if (status === 503) {
    throw new Fault('busy', 'The server cannot answer now: it is busy, or its catalogue is not there.');
  }
  throw new Fault('failed', `The server answered with status ${status}; its log says why.`);
}

/** What the header Tarn-Match says of the first match; null where it does not. */
function placeOf(header) {
  const members = new Map((header ?? '').split(';').map((member) => member.trim().split('=')));
  const number = (name) => (/^\d{1,10}$/.test(members.get(name) ?? '') ? Number(members.get(name)) : null);
  return {
    offsetMs: number('offset-ms'),
    durationMs: number('duration-ms'),
    companions: (members.get('companions') ?? '').split(',').filter((id) => id !== ''),
  };
}

addEventListener('message', async ({data: {id, name, value}}) => {
  try {
    postMessage({id, value: await operations[name](value)});
  } catch (error) {
    const known = error instanceof Fault || error instanceof KvxError;
    postMessage({id, fault: {reason: known ? error.reason : 'failed', message: error.message}});
  }
});
