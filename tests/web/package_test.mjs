// SPDX-License-Identifier: Apache-2.0
// What npm packs can be installed into an empty folder, without a network, and used there.
import assert from 'node:assert/strict';
import {execFileSync} from 'node:child_process';
import {mkdtempSync, readFileSync, readdirSync, rmSync, writeFileSync} from 'node:fs';
import {tmpdir} from 'node:os';
import {test} from 'node:test';
import {packageFolder, recording} from './support.mjs';

const kProgram = `
import { load } from 'kvx';
import { readFileSync } from 'node:fs';
const { accessCode, deviceId, rateHz, channels } = JSON.parse(process.argv[2]);
const access = (await load()).open(accessCode, deviceId);
console.log(access.fingerprint(new Uint8Array(readFileSync('pcm')), { rateHz, channels }).codes.join(' '));
`;

test('the packed package is installed and used', () => {
  const folder = mkdtempSync(`${tmpdir()}/kvx-package-`);
  const run = (program, ...words) => execFileSync(program, words, {
    cwd: folder,
    encoding: 'utf8',
    env: {...process.env, HOME: folder, npm_config_update_notifier: 'false'},
  });
  try {
    run(process.env.KVX_NPM, 'pack', '--silent', packageFolder);
    const {version} = JSON.parse(readFileSync(`${packageFolder}/package.json`));
    const [packed] = readdirSync(folder).filter((name) => name.endsWith('.tgz'));
    assert.equal(packed, `kvx-${version}.tgz`);
    writeFileSync(`${folder}/package.json`, '{"name": "user", "private": true, "type": "module"}');
    run(process.env.KVX_NPM, 'install', '--offline', '--no-audit', '--no-fund', '--silent', `./${packed}`);
    const installed = readdirSync(`${folder}/node_modules/kvx`).sort();
    assert.deepEqual(installed, readdirSync(packageFolder).sort());

    const native = recording(8, 44100, 1, 7000);
    writeFileSync(`${folder}/pcm`, native.samples);
    writeFileSync(`${folder}/program.js`, kProgram);
    const {accessCode, deviceId, format: {rateHz, channels}} = native;
    assert.equal(
      run(process.execPath, 'program.js', JSON.stringify({accessCode, deviceId, rateHz, channels})).trim(),
      native.codes.join(' '));
  } finally {
    rmSync(folder, {recursive: true});
  }
});
