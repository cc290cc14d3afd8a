// SPDX-License-Identifier: Apache-2.0
// What is wrong for people who see, hear or move differently, as a list of texts: landmarks, headings, references,
// contrast and the size of targets. The names of controls are the browser's own business (accessibility.py). The body
// of a function.

const kText = 4.5; // contrast of text
const kLargeText = 3;
const kLargePixels = 24;
const kTargetPixels = 24;
const found = [];

function isVisible(element) {
  const {display, visibility, opacity} = getComputedStyle(element);
  const {width, height} = element.getBoundingClientRect();
  return display !== 'none' && visibility === 'visible' && opacity !== '0' && width > 1 && height > 1;
}

function nameOf(element) { return `<${element.localName} id="${element.id}" class="${element.className}">`; }

// Landmarks and headings.
for (const landmark of ['header', 'main', 'footer']) {
  const count = document.querySelectorAll(`body > ${landmark}`).length;
  if (count !== 1) found.push(`${count} landmarks ${landmark}`);
}
if (document.documentElement.lang === '') found.push('no language');
if (document.title === '') found.push('no title');
let last = 0;
for (const heading of document.querySelectorAll('h1, h2, h3, h4, h5, h6')) {
  if (!isVisible(heading)) continue;
  const level = Number(heading.localName[1]);
  if (level > last + 1) found.push(`a heading of level ${level} after one of level ${last}: ${heading.textContent}`);
  if (heading.textContent.trim() === '') found.push(`an empty heading: ${nameOf(heading)}`);
  last = level;
}
if (document.querySelectorAll('h1').length !== 1) found.push('not one h1');

// References.
for (const attribute of ['for', 'aria-labelledby', 'aria-describedby']) {
  for (const element of document.querySelectorAll(`[${attribute}]`)) {
    for (const id of element.getAttribute(attribute).split(/\s+/)) {
      if (document.getElementById(id) === null)
        found.push(`${attribute} of ${nameOf(element)} names no element: ${id}`);
    }
  }
}
const ids = Array.from(document.querySelectorAll('[id]'), ({id}) => id);
for (const id of ids) {
  if (ids.indexOf(id) !== ids.lastIndexOf(id)) found.push(`two elements with the id ${id}`);
}

// Contrast.
function channelsOf(colour) {
  const [red, green, blue, alpha = 1] = colour.match(/[\d.]+/g).map(Number);
  return {red, green, blue, alpha};
}

function luminanceOf({red, green, blue}) {
  const linear = (channel) => {
    const part = channel / 255;
    return part <= 0.04045 ? part / 12.92 : ((part + 0.055) / 1.055) ** 2.4;
  };
  return 0.2126 * linear(red) + 0.7152 * linear(green) + 0.0722 * linear(blue);
}

function backgroundOf(element) {
  for (let at = element; at !== null; at = at.parentElement) {
    const colour = channelsOf(getComputedStyle(at).backgroundColor);
    if (colour.alpha === 1) return colour;
  }
  return {red: 255, green: 255, blue: 255};
}

const walker = document.createTreeWalker(document.body, NodeFilter.SHOW_TEXT);
let texts = 0;
while (walker.nextNode()) {
  const element = walker.currentNode.parentElement;
  if (walker.currentNode.data.trim() === '' || !isVisible(element) || element.closest('meter, progress, :disabled'))
    continue;
  ++texts;
  const style = getComputedStyle(element);
  const [a, b] = [luminanceOf(channelsOf(style.color)), luminanceOf(backgroundOf(element))];
  const contrast = (Math.max(a, b) + 0.05) / (Math.min(a, b) + 0.05);
  const wanted = parseFloat(style.fontSize) >= kLargePixels ? kLargeText : kText;
  if (contrast < wanted)
    found.push(`contrast ${contrast.toFixed(2)} of ${nameOf(element)}: ${walker.currentNode.data}`);
}
if (texts < 5) found.push(`only ${texts} texts were looked at`);

// Targets.
for (const control of document.querySelectorAll('button, input:not([type=checkbox]), summary')) {
  const {width, height} = control.getBoundingClientRect();
  if (isVisible(control) && Math.min(width, height) < kTargetPixels) found.push(`a small target: ${nameOf(control)}`);
}
return found;
