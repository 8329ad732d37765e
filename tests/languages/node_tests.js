'use strict';
// The addon of Node: what becomes of values, of errors, of observers and of other threads.
const assert = require('node:assert');
const fs = require('node:fs');
const os = require('node:os');
const path = require('node:path');
const { execFileSync } = require('node:child_process');
const { Worker, isMainThread, workerData } = require('node:worker_threads');
const velmora = require('../../bindings/node');

const refused = (code, call) => assert.throws(call, (error) => error.code === code && !!error.function);

async function main() {
  const folder = fs.mkdtempSync(path.join(os.tmpdir(), 'velmora-'));
  const store = path.join(folder, 'store.db');
  refused('VELMORA_WRONG_THREAD', () => velmora.set('k', 1));
  refused('VELMORA_INVALID_ARGUMENT', () => velmora.start({ storePath: 'a\0b' }, 'key', 'secret'));
  refused('VELMORA_INVALID_ARGUMENT', () => velmora.start({ storepath: 'a' }, 'key', 'secret'));
  const options = {
    storePath: store,
    bundleIdentifier: 'com.example.tests',
    ingestBaseAddress: 'http://127.0.0.1:1/',
    informationDictionary: { VMRLogsEnabled: false },
    keepUnsent: true,
  };
  velmora.start(options, 'key', 'secret');
  refused('VELMORA_INVALID_STATE', () => velmora.start(options, 'key', 'secret'));

  for (const value of ['', 'a\0b ü', 0, -1.5, true, [1, '2', null], { a: { $date: 5 } }]) {
    velmora.set('value', value);
    assert.deepStrictEqual(velmora.get('value'), value);
  }
  velmora.remove('value');
  assert.strictEqual(velmora.get('value'), undefined);
  assert.throws(() => velmora.set('', 'v'), {
    message: 'velmora_preferences_set_text: "key" is empty: name a preferences key',
  });
  refused('VELMORA_INVALID_ARGUMENT', () => velmora.set('k\0', 1));
  assert.throws(() => velmora.observe('k', 7), TypeError);
  assert.strictEqual(velmora.diagnose().consents.keepUnsent, true);
  assert.strictEqual(velmora.diagnose().store.path, store);
  assert.ok('storedConsentEvents' in velmora.status());

  // An observer's own error is the application's; the write holds, and others are told.
  const changes = [];
  const caught = new Promise((resolve) => process.once('uncaughtException', resolve));
  const ends = [
    velmora.observe('observed', () => { throw new Error('on purpose'); }),
    velmora.observe(undefined, (...change) => changes.push(change)),
  ];
  velmora.set('observed', 'new');
  assert.strictEqual((await caught).message, 'on purpose');
  ends.forEach((end) => { end(); end(); });
  velmora.set('observed', 'newer');
  assert.deepStrictEqual(changes, [['observed', 'new', undefined]]);

  // Another process's write wakes Node's loop up.
  const foreign = new Promise((resolve) => {
    const end = velmora.observe('foreign', (_, value) => { end(); resolve(value); });
  });
  const alive = setTimeout(() => {}, 20000);
  execFileSync('velmora', ['prefs', 'set', 'foreign', 'text', '--store', store]);
  assert.strictEqual(await foreign, 'text');
  clearTimeout(alive);

  // A worker is another thread; it is told so, and may end.
  const worker = new Worker(__filename, { workerData: 'elsewhere' });
  await new Promise((resolve, reject) => worker.on('error', reject).on('exit', (status) =>
    (status === 0 ? resolve() : reject(new Error(`the worker ended with ${status}`)))));
  velmora.erase();
  assert.strictEqual(velmora.status().vmrId, null);
  fs.rmSync(folder, { recursive: true });
}

if (isMainThread) main();
else {
  assert.strictEqual(workerData, 'elsewhere');
  refused('VELMORA_WRONG_THREAD', () => velmora.set(velmora.TCF_V2, 'CQtDjk'));
  refused('VELMORA_INVALID_STATE', () => velmora.start({}, 'key', 'secret'));
}
