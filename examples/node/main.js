#!/usr/bin/env node
'use strict';
// A command-line application in Node; in Electron's main process the calls are the same. Every line
// on standard input plays a consent tool: it is a new TCF v2 string.
//
//   make -C ../../bindings/node
//   export LD_LIBRARY_PATH=$(pkg-config --variable=libdir velmorakit)
//   VELMORA_INGEST=http://127.0.0.1:8080/ VELMORA_API_KEY=key VELMORA_SECRET=secret ./main.js

const readline = require('node:readline');
const velmora = require('../../bindings/node');

velmora.start(
  {
    bundleIdentifier: 'com.example.node',
    appVersion: '1.0',
    keepUnsent: true, // a string may be set at any time, also while a post is under way
    ingestBaseAddress: process.env.VELMORA_INGEST,
    storePath: process.env.VELMORA_STORE,
  },
  process.env.VELMORA_API_KEY,
  process.env.VELMORA_SECRET,
);
// An application without windows comes to the foreground when it starts. This posts what an earlier
// run could not.
velmora.willEnterForeground();

const lines = readline.createInterface({ input: process.stdin });
lines.on('line', (line) => velmora.set(velmora.TCF_V2, line));
lines.on('close', () => velmora.runUntilIdle(5)); // whatever cannot be posted now is stored
