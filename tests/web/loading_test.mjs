// SPDX-License-Identifier: Apache-2.0
// The module from every source, in the main thread and in a worker.
import assert from 'node:assert/strict';
import {readFile, readFileSync} from 'node:fs';
import {createServer} from 'node:http';
import {test} from 'node:test';
import {pathToFileURL} from 'node:url';
import {Worker} from 'node:worker_threads';
import {failsWith, golden, kAccessCode, kDeviceId, load, packageFolder, recording, wasmPath} from './support.mjs';

const {version} = JSON.parse(readFileSync(`${packageFolder}/package.json`));
const bytes = readFileSync(wasmPath);

/** Serves the package on a loopback port while work runs; types: the types that it gives the files. */
async function whileServed(work) {
  const server = createServer((request, response) => {
    readFile(packageFolder + request.url, (error, data) => {
      response.writeHead(error ? 404 : 200).end(data);
    });
  });
  await new Promise((resolve) => {
    server.listen(0, '127.0.0.1', resolve);
  });
  try {
    await work(`http://127.0.0.1:${server.address().port}`);
  } finally {
    server.closeAllConnections?.();
    await new Promise((resolve) => {
      server.close(resolve);
    });
  }
}

test('the module loads from its folder, an address, bytes, and a compiled module', async () => {
  const sources = [
    undefined, pathToFileURL(wasmPath), pathToFileURL(wasmPath).href, bytes, new Uint8Array(bytes),
    new Uint8Array(bytes).buffer, new WebAssembly.Module(bytes)
  ];
  for (const source of sources) assert.equal((await load(source)).version, version, String(source));
});

test('the module loads over HTTP', () => whileServed(async (address) => {
                                     assert.equal((await load(`${address}/kvx.wasm`)).version, version);
                                     assert.equal((await load(new URL(`${address}/kvx.wasm`))).version, version);
                                     await assert.rejects(load(`${address}/nowhere.wasm`), failsWith('source'));
                                     await assert.rejects(load(`${address}/kvx.js`), failsWith('source'));
                                   }));

test('what is no module is refused', async () => {
  const other = new Uint8Array([0, 0x61, 0x73, 0x6d, 1, 0, 0, 0]); // an empty module
  for (const source of
         ['', 'nowhere', pathToFileURL('/nowhere.wasm'), null, 1, {}, new Uint8Array(0), bytes.subarray(0, 5000), other,
          new WebAssembly.Module(other)]) {
    await assert.rejects(load(source), failsWith('source'), String(source));
  }
});

test('the module needs nothing from outside, and exports what it lists', () => {
  const module = new WebAssembly.Module(bytes);
  assert.deepEqual(WebAssembly.Module.imports(module), []);
  const listed = readFileSync(process.env.KVX_EXPORTS, 'utf8').split('\n').filter((line) => /^[A-Za-z_]/.test(line));
  const exported = WebAssembly.Module.exports(module).map(({name}) => name);
  assert.deepEqual(exported.sort(), [...listed, '_initialize', 'memory'].sort());
});

test('libraries have memories of their own', async () => {
  const [one, other] = [await load(), await load()];
  const access = one.open(kAccessCode, kDeviceId);
  other.open(kAccessCode, kDeviceId).close();
  assert.equal(access.parse(golden('answer_track.bin')).types, 'T');
  access.close();
});

test('a worker gets the compiled module and fingerprints', async () => {
  const native = recording(4, 44100, 2, 6500);
  const source = `
    import { parentPort, workerData } from 'node:worker_threads';
    const { load } = await import(workerData.kvx);
    const access = (await load(workerData.module)).open(workerData.native.accessCode, workerData.native.deviceId);
    parentPort.postMessage(access.fingerprint(workerData.native.samples, workerData.native.format).codes);`;
  const worker = new Worker(new URL(`data:text/javascript,${encodeURIComponent(source)}`), {
    workerData: {kvx: pathToFileURL(`${packageFolder}/kvx.js`).href, module: new WebAssembly.Module(bytes), native},
  });
  const codes = await new Promise((resolve, reject) => {
    worker.on('message', resolve).on('error', reject);
  });
  assert.deepEqual(codes, native.codes);
});

test('page and module together are small', async () => {
  const {gzipSync} = await import('node:zlib');
  const {readdirSync} = await import('node:fs');
  const files = readdirSync(packageFolder).filter((name) => /\.(js|wasm)$/.test(name));
  assert.ok(files.length >= 5);
  const sum =
    files.reduce((total, name) => total + gzipSync(readFileSync(`${packageFolder}/${name}`), {level: 9}).length, 0);
  assert.ok(sum < 60000, `${sum} bytes, compressed`);
});
