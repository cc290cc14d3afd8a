// SPDX-License-Identifier: Apache-2.0
// session.mjs PACKAGE PCM PACKET ROUNDS: prints CPU times in milliseconds: to load the module, of the first session
// with its signed packet, which must be PACKET, and the median of that number of further ones.
import {readFileSync} from 'node:fs';
import {resolve} from 'node:path';
import {pathToFileURL} from 'node:url';

const [folder, pcmFile, packetFile, rounds] = process.argv.slice(2);
const kBlockSamples = 512; // the 1024 bytes of the native measurement
const samples = new Int16Array(new Uint8Array(readFileSync(pcmFile)).buffer);
const expected = readFileSync(packetFile);
const kAccessCode = `0102030403000300${'00'.repeat(32)}`;

function cpuMsOf(before) {
  const {user, system} = process.cpuUsage(before);
  return (user + system) / 1000;
}

function sessionMs(access) {
  const before = process.cpuUsage();
  const session = access.session({rateHz: 44100, channels: 2, durationMs: 60000});
  for (let at = 0; !session.complete; at += kBlockSamples) {
    if (at >= samples.length) throw new Error('the session did not finish');
    session.feed(samples.subarray(at, at + kBlockSamples));
  }
  const packet = session.packet();
  session.close();
  const ms = cpuMsOf(before);
  if (!expected.equals(packet)) throw new Error('the packet is not that of the native library');
  return ms;
}

const start = process.cpuUsage();
const {load} = await import(pathToFileURL(resolve(folder, 'kvx.js')));
const kvx = await load();
console.log(`load\t${cpuMsOf(start).toFixed(2)}`);
const access = kvx.open(kAccessCode, '00:11:22:33:44:5');
console.log(`first\t${sessionMs(access).toFixed(2)}`);
for (let i = 0; i < 20; ++i) sessionMs(access); // until the compiler has optimised all of it
const times = Array.from({length: Number(rounds)}, () => sessionMs(access)).sort((a, b) => a - b);
console.log(`median\t${times[Math.floor(times.length / 2)].toFixed(2)}`);
