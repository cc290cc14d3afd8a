// SPDX-License-Identifier: Apache-2.0
// Texts from outside, as the page shows them, and elements that hold them. Texts are set as text, never as markup.

const kMaxCharacters = 200;
// Control characters, marks that change the direction of what follows, and other characters that show nothing.
const kHidden = /[\p{Cc}\p{Cf}\p{Zl}\p{Zp}\p{Cs}]+/gu;

/** One line without hidden characters, cut where it is too long; otherwise, where nothing is left. */
export function shown(text, otherwise) {
  const cut = (text ?? '').slice(0, 8 * kMaxCharacters); // no more work than that
  const characters = Array.from(cut.replace(kHidden, ' ').replace(/\s+/g, ' ').trim());
  const isCut = characters.length > kMaxCharacters || cut.length < (text ?? '').length;
  const line = characters.slice(0, kMaxCharacters).join('') + (isCut ? '…' : '');
  return line === '' ? otherwise : line;
}

/** 83000: "1:23". */
export function time(ms) {
  const seconds = Math.floor(ms / 1000);
  const two = (number) => String(number).padStart(2, '0');
  const minutes = Math.floor(seconds / 60);
  if (minutes < 60) return `${minutes}:${two(seconds % 60)}`;
  return `${Math.floor(minutes / 60)}:${two(minutes % 60)}:${two(seconds % 60)}`;
}

/** An element with attributes and children, which are elements or texts. */
export function element(name, attributes = {}, ...children) {
  const made = document.createElement(name);
  for (const [key, value] of Object.entries(attributes)) made.setAttribute(key, value);
  made.append(...children);
  return made;
}

/** A text from outside in an element of its own direction. */
export function foreign(text, otherwise) { return element('bdi', {}, shown(text, otherwise)); }
