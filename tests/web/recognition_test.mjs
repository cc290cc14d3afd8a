// SPDX-License-Identifier: Apache-2.0
// A whole recognition: a catalogue of files, the service, and a client that fingerprints here and sends with fetch.
import assert from 'node:assert/strict';
import {execFileSync, spawn} from 'node:child_process';
import {once} from 'node:events';
import {mkdtempSync, rmSync, writeFileSync} from 'node:fs';
import {tmpdir} from 'node:os';
import {test} from 'node:test';
import {kDeviceId, load, recording} from './support.mjs';

const kServer = process.env.TARN_SERVER;
const kRateHz = 22050;

function wavFile(samples) {
  const header = Buffer.alloc(44);
  header.write('RIFF', 0);
  header.writeUInt32LE(36 + samples.byteLength, 4);
  header.write('WAVEfmt ', 8);
  header.writeUInt32LE(16, 16);
  header.writeUInt16LE(1, 20); // PCM
  header.writeUInt16LE(1, 22); // channels
  header.writeUInt32LE(kRateHz, 24);
  header.writeUInt32LE(2 * kRateHz, 28);
  header.writeUInt16LE(2, 32);
  header.writeUInt16LE(16, 34);
  header.write('data', 36);
  header.writeUInt32LE(samples.byteLength, 40);
  return Buffer.concat([header, Buffer.from(samples.buffer, samples.byteOffset, samples.byteLength)]);
}

async function post(address, packet) {
  const form = new FormData();
  form.append('data', new Blob([packet]));
  const response = await fetch(`http://${address}/sdkrequest`, {method: 'POST', body: form});
  return {status: response.status, body: await response.arrayBuffer()};
}

test('the service recognises what the module fingerprints', async () => {
  const folder = mkdtempSync(`${tmpdir()}/kvx-recognition-`);
  const files = ['--catalogue', `${folder}/catalogue`];
  const accounts = ['--accounts', `${folder}/accounts`];
  let server;
  try {
    const pieces = [11, 12, 13].map((seed) => recording(seed, kRateHz, 1, 31000).samples);
    pieces.forEach((samples, index) => writeFileSync(`${folder}/piece ${index}.wav`, wavFile(samples)));
    execFileSync(kServer, ['add', ...files, folder]);
    const account = execFileSync(kServer, ['account', 'add', ...accounts], {encoding: 'utf8'});
    const [, code] = account.match(/^access code ([0-9A-Fa-f]{80})$/m);
    server = spawn(
      kServer, ['serve', ...files, ...accounts, '--listen', '127.0.0.1:0'], {stdio: ['ignore', 'pipe', 'ignore']});
    const [line] = await once(server.stdout, 'data');
    const [, address] = String(line).match(/^listening on (.*)$/m);

    const kvx = await load();
    const access = kvx.open(code, kDeviceId);
    for (const [index, samples] of pieces.entries()) {
      const excerpt = samples.subarray(5 * kRateHz, 25 * kRateHz);
      const {packet} = access.fingerprint(excerpt, {rateHz: kRateHz, channels: 1});
      const {status, body} = await post(address, packet);
      assert.equal(status, 200);
      const {tracks, albums, types} = access.parse(body);
      assert.equal(types, 'TA');
      assert.equal(tracks[0].title, `piece ${index}`);
      assert.ok(albums[0].confidence > 85, `confidence ${albums[0].confidence}`);

      const found = access.parse((await post(address, access.lookUpPacket([tracks[0].trackId], {kind: 'T'}))).body);
      assert.equal(found.tracks[0]?.title ?? found.albums[0]?.title, `piece ${index}`);
    }
    const unknown = access.fingerprint(recording(99, kRateHz, 1, 9000).samples, {rateHz: kRateHz, channels: 1});
    assert.equal(access.parse((await post(address, unknown.packet)).body).types, 'N');

    const stranger = kvx.open(code.replace(/.{4}$/, (end) => (end === '0000' ? '1111' : '0000')), kDeviceId);
    assert.equal((await post(address, stranger.lookUpPacket(['a']))).status, 403);
    stranger.close();
    access.close();
  } finally {
    if (server !== undefined && server.exitCode === null) {
      server.kill();
      await once(server, 'exit');
    }
    rmSync(folder, {recursive: true});
  }
});
