// SPDX-License-Identifier: Apache-2.0
// The access code, which this browser keeps only if asked, and the identity of this browser.

const kCodeName = 'tarn.access-code';
const kDeviceName = 'tarn.device';
const kDeviceBytes = 16;

/** A browser may refuse to keep anything. */
function tryStorage(use) {
  try {
    return use(window.localStorage);
  } catch {
    return null;
  }
}

export function keptCode() { return tryStorage((storage) => storage.getItem(kCodeName)); }
export function keepCode(code) { tryStorage((storage) => storage.setItem(kCodeName, code)); }
export function forgetCode() { tryStorage((storage) => storage.removeItem(kCodeName)); }

/** Random bytes that are the same in each session, where the browser keeps them. They say nothing of the device. */
export function deviceId() {
  const kept = tryStorage((storage) => storage.getItem(kDeviceName));
  if (new RegExp(`^[0-9a-f]{${2 * kDeviceBytes}}$`).test(kept ?? '')) {
    return Uint8Array.from(kept.match(/../g), (byte) => parseInt(byte, 16));
  }
  const id = crypto.getRandomValues(new Uint8Array(kDeviceBytes));
  const text = Array.from(id, (byte) => byte.toString(16).padStart(2, '0')).join('');
  tryStorage((storage) => storage.setItem(kDeviceName, text));
  return id;
}
