'use strict';
// VelmoraKit for Node and for Electron's main process: watches the consent strings in the
// application's preferences and posts every change to the ingest service. An Error has the "code" of
// the C interface, "VELMORA_NOT_FOUND" for instance, and the "function" that refused.

const addon = require('./velmorakit.node');

const parse = (json) => (json === null ? undefined : JSON.parse(json));

module.exports = {
  TCF_V2: 'IABTCF_TCString',
  TCF_V1: 'IABConsent_ConsentString',
  start(options, apiKey, secret) {
    const given = {};
    for (const [name, value] of Object.entries(options))
      given[name.replace(/[A-Z]/g, (letter) => `_${letter.toLowerCase()}`)] = value;
    addon.start(JSON.stringify(given), apiKey, secret);
  },
  set(key, value) {
    if (typeof value === 'string') addon.setString(key, value);
    else addon.setJson(key, JSON.stringify(value));
  },
  get(key) {
    try {
      return JSON.parse(addon.getJson(key));
    } catch (error) {
      if (error.code === 'VELMORA_NOT_FOUND') return undefined;
      throw error;
    }
  },
  remove: addon.remove,
  observe(key, callback) {
    if (typeof callback !== 'function') throw new TypeError('observe needs a function to call');
    const observation = addon.observe(key, (name, newJson, oldJson) =>
      callback(name, parse(newJson), parse(oldJson)));
    return () => observation.end();
  },
  willEnterForeground: addon.willEnterForeground,
  erase: addon.erase,
  runUntilIdle: addon.runUntilIdle,
  status: () => JSON.parse(addon.status()),
  diagnose: () => JSON.parse(addon.diagnose()),
};
