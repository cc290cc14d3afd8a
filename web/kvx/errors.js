// SPDX-License-Identifier: Apache-2.0
// What every failure throws.

export class KvxError extends Error {
  /**
   * @param {string} reason one of the reasons that kvx.d.ts lists, for programs
   * @param {string} message what is wrong and what to do, for people
   */
  constructor(reason, message) {
    super(message);
    this.name = 'KvxError';
    this.reason = reason;
  }
}

/** Throws the error of an argument that cannot be used, unless it can. */
export function check(isGood, reason, message) {
  if (!isGood) throw new KvxError(reason, message);
}

/** Throws unless value is an object, whose members can be asked for. */
export function checkObject(value, message) { check(typeof value === 'object' && value !== null, 'argument', message); }

/** Throws unless value is an integer from least to most. */
export function checkInteger(value, least, most, reason, name) {
  check(
    Number.isInteger(value) && value >= least && value <= most, reason,
    `${name} must be an integer from ${least} to ${most}`);
}
