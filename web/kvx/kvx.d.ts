// SPDX-License-Identifier: Apache-2.0
// Acoustic fingerprints of recordings, signed requests to a recognition server, and its answers. README.md has an
// example.

/**
 * Why something failed, for programs:
 * - argument: a value of the wrong type or out of its range
 * - source: the module cannot be loaded
 * - access-code: not 80 hexadecimal digits, or an unknown signing method
 * - device-id: not 1 to 16 bytes
 * - channels: neither 1 nor 2
 * - rate: below 11025 Hz
 * - too-short: a track of 6005 ms or less
 * - incomplete: the audio ended before the fingerprint was complete
 * - unsigned: the access code's methods cannot sign
 * - answer: the answer is damaged
 * - closed: the access or session is closed
 * - memory: the module's memory, 64 MiB, is used up
 */
export type Reason = 'argument'|'source'|'access-code'|'device-id'|'channels'|'rate'|'too-short'|'incomplete'|
  'unsigned'|'answer'|'closed'|'memory';

/** What every failure throws. Its message says what is wrong and what to do. */
export class KvxError extends Error {
  constructor(reason: Reason, message: string);
  readonly reason: Reason;
}

/**
 * 16-bit PCM, the channels interleaved: as numbers, as numbers from -1 to 1 (what lies beyond is cut), or as bytes,
 * little-endian.
 */
export type Samples = Int16Array|Float32Array|Uint8Array;

export interface Format {
  /** 11025 or more. */
  rateHz: number;
  /** 1 or 2. */
  channels: number;
  /** The length of the whole track, which may be longer than the audio that is fed: more than 6005. */
  durationMs: number;
}

export interface RequestOptions {
  /** How many matches to answer with, 0 to 65535; 0 leaves it to the server. Default: 10. */
  maxMatches?: number;
  /** Code of two letters. Default: "en". */
  language?: string;
}

export interface LookUpOptions extends RequestOptions {
  /** What the ids name: "A" for albums (the default), "T" for tracks. */
  kind?: string;
}

export interface Fingerprint {
  /** The six code strings: codebook 1 and 2 of the first map, then of the second and of the third. */
  codes: string[];
  /** The signed request that asks a server for the recording. */
  packet: Uint8Array;
}

/** Texts are null where the server left them out. Members are named as in kvx.h. */
export interface Artist {
  propertyId: string|null;
  /** The artist's name. */
  property: string|null;
  valueId: string|null;
  value: string|null;
}

export interface Track {
  trackId: string|null;
  title: string|null;
  /** The name of the first of the artists. */
  artist: string|null;
  artists: Artist[];
}

export interface Medium {
  tracks: Track[];
}

export interface Album {
  albumId: string|null;
  title: string|null;
  artist: string|null;
  /** 0 to 100 in the answer to a fingerprint. */
  confidence: number;
  media: Medium[];
}

export interface Answer {
  /** Whether there is a track or an album. */
  found: boolean;
  /** The track of each match, the best first. */
  tracks: Track[];
  /** The albums, in the answer to a fingerprint in the order of the tracks. */
  albums: Album[];
  /** A letter for each record: "T" track, "A" album, "K" track with album, "N" nothing found; "?" an unknown one. */
  types: string;
}

/**
 * Loads the library. source: the address of kvx.wasm, its bytes, or the compiled module, which a page can post to its
 * workers. Default: kvx.wasm beside kvx.js. Each call gives a library with a memory of its own.
 */
export function load(source?: URL|string|BufferSource|WebAssembly.Module): Promise<Kvx>;

/** The library; load makes it. */
export class Kvx {
  private constructor();
  /** Of the library, such as "0.9.0". */
  readonly version: string;
  /**
   * Opens an access. accessCode: 80 hexadecimal digits, as text or as the bytes of a file. deviceId: 1 to 16 bytes that
   * name this device; keep one for each device. clientKind: a character that every packet carries; default "S".
   */
  open(accessCode: string|Uint8Array, deviceId: string|Uint8Array, options?: {clientKind?: string}): Access;
}

/** What an account may ask a server. It holds the account's secret until it is closed. */
export class Access {
  private constructor();
  /**
   * The fingerprint of a recording, whose samples begin with the track. Without durationMs the samples are the whole
   * track.
   */
  fingerprint(samples: Samples, format: Omit<Format, 'durationMs'>&{durationMs?: number}, request?: RequestOptions):
    Fingerprint;
  /** Opens a session for audio that comes in pieces. Close it in the end. */
  session(format: Format): Session;
  /** The signed request for items by their ids, which have no comma. */
  lookUpPacket(ids: Array<string|Uint8Array>, options?: LookUpOptions): Uint8Array;
  /** Reads the body of a server's answer. */
  parse(answer: Uint8Array|ArrayBuffer): Answer;
  /** Wipes the secret. Sessions that are open stay so. Closing twice does no harm. */
  close(): void;
}

/** A fingerprint of audio that comes in pieces. */
export class Session {
  private constructor();
  /** Where in the track the audio to feed begins: 0, or 44000 for a track longer than 74005 ms. */
  readonly startMs: number;
  /** Whether the fingerprint has all the audio that it needs. */
  readonly complete: boolean;
  /** How much audio is missing; 0 when complete. */
  readonly missingMs: number;
  /** Takes a piece of any length, and says whether the fingerprint is complete. Nothing more is taken then. */
  feed(samples: Samples): boolean;
  /** The six code strings, once complete. */
  readonly codes: string[];
  /** The signed request that asks a server for the recording, once complete. Each call gives the same bytes. */
  packet(request?: RequestOptions): Uint8Array;
  /** Gives the memory back. Closing twice does no harm. */
  close(): void;
}
