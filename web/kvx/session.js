// SPDX-License-Identifier: Apache-2.0
// A fingerprint of audio that comes in pieces.

import {KvxError, check} from './errors.js';
import {kPcmBytes, outOfMemory} from './memory.js';
import {takePacket} from './packet.js';
import {checkFormat, checkSamples, pcmOf, wholeMs} from './samples.js';

const kTooShort = -2;
const kMoreAudioWanted = 20;
const kEngineRateHz = 22050;
const kUnit = 4; // the library takes multiples of this number of bytes
const kNoBytes = new Uint8Array(0);
const kCodeStrings = 6;

export class Session {
  #library;
  #memory;
  #handle;
  #startMs;
  #complete = false;
  #rest = kNoBytes; // bytes that do not fill a unit yet

  /** Access makes sessions. openHandle: makes the session's handle. */
  constructor(library, memory, format, openHandle) {
    checkFormat(format);
    this.#library = library;
    this.#memory = memory;
    this.#handle = openHandle();
    const {rateHz, channels} = format;
    const durationMs = wholeMs(format.durationMs);
    this.#startMs = library.KVXNewFingerprint3(this.#handle.address, channels, rateHz, durationMs);
    if (this.#startMs >= 0) return;
    this.close();
    check(this.#startMs !== kTooShort, 'too-short', `a track of ${durationMs} ms is too short; 7 seconds are enough`);
    throw outOfMemory();
  }

  get startMs() { return this.#startMs; }

  get complete() { return this.#complete; }

  get missingMs() {
    this.#checkOpen();
    if (this.#complete) return 0;
    // The resampler is one sample late.
    return Math.ceil((this.#library.kvxSamplesMissing(this.#handle.address) + 1) * 1000 / kEngineRateHz);
  }

  feed(samples) {
    this.#checkOpen();
    checkSamples(samples);
    const most = Math.floor((kPcmBytes - kUnit) / samples.BYTES_PER_ELEMENT);
    for (let at = 0; at < samples.length && !this.#complete; at += most) {
      this.#feedPiece(pcmOf(samples, at, at + most, this.#memory));
    }
    return this.#complete;
  }

  get codes() {
    this.#checkComplete();
    return Array.from(
      {length: kCodeStrings},
      (_, index) => this.#memory.text(this.#library.kvxCodeString(this.#handle.address, index)));
  }

  packet(request = {}) {
    this.#checkComplete();
    return takePacket(
      this.#library, this.#memory, request, 'KVXFreeFingerprintRequest3',
      (options, packet, length) => this.#library.KVXGenerateFingerprintRequest3(
        this.#handle.address, 0, 0, 0, options.maxMatches, options.language, packet, length));
  }

  close() { this.#handle.close(); }

  #feedPiece(pcm) {
    const {pcm: place} = this.#memory;
    const rest = this.#rest.length;
    const filled = rest + pcm.length;
    const whole = filled - filled % kUnit;
    const view = this.#memory.bytes(place, kPcmBytes);
    if (rest > 0) view.set(this.#rest);
    view.set(pcm, rest);
    this.#rest = whole === filled ? kNoBytes : view.slice(whole, filled);
    const status = this.#library.KVXGenerateFingerprint3(this.#handle.address, place, whole);
    if (status !== 0 && status !== kMoreAudioWanted) throw outOfMemory();
    this.#complete = status === 0;
  }

  #checkOpen() { check(this.#handle.address !== 0, 'closed', 'the session is closed; open another one'); }

  #checkComplete() {
    this.#checkOpen();
    if (this.#complete) return;
    throw new KvxError(
      'incomplete',
      `${this.missingMs} ms of audio are missing; feed what follows, or give the true length of the track`);
  }
}
