// SPDX-License-Identifier: Apache-2.0
// What all requests have in common: the options in the packet's header, and the packet itself.

import {KvxError, check, checkInteger, checkObject} from './errors.js';

const kUsualMatches = 10;

/** Checks the options of a request, and fills in what it does not say. */
function optionsOf(request) {
  checkObject(request, 'the options of a request must be an object: { maxMatches, language }');
  const {maxMatches = kUsualMatches, language = 'en'} = request;
  checkInteger(maxMatches, 0, 0xffff, 'argument', 'maxMatches');
  check(
    typeof language === 'string' && /^[a-z]{2}$/.test(language), 'argument',
    'language must be a code of two letters, such as "en"');
  return {maxMatches, language: language.charCodeAt(0) << 8 | language.charCodeAt(1)};
}

/**
 * A copy of the packet that generate makes. generate gets the options and the addresses of its two outputs, and returns
 * the library's status. free: the name of the function that frees the packet.
 */
export function takePacket(library, memory, request, free, generate) {
  const packet = memory.place;
  const length = packet + 4;
  if (generate(optionsOf(request), packet, length) !== 0) {
    throw new KvxError(
      'unsigned',
      'no packet can be made: the access code has a method that does not sign, or the ' +
        'module has no memory left; ask for a new access code, or close sessions');
  }
  const bytes = memory.bytes(memory.word(packet), memory.word(length)).slice();
  library[free](packet);
  return bytes;
}
