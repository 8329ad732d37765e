// Times the framework's decoder on the strings of standard input, and compares what it says with the
// lines of `velmora tcf --json` in the file named. Usage: node tcf-decoders.mjs MODULE LINES < STRINGS
import { readFileSync } from 'node:fs';
import { pathToFileURL } from 'node:url';
import assert from 'node:assert/strict';

const [module, linesFile] = process.argv.slice(2);
const { TCString } = await import(pathToFileURL(module));
const strings = readFileSync(0, 'utf8').trim().split('\n');
const lines = readFileSync(linesFile, 'utf8').trim().split('\n');

function idsOf(vector) {
  const ids = [];
  vector.forEach((isSet, id) => {
    if (isSet) ids.push(id);
  });
  return ids.sort((a, b) => a - b);
}

function restrictionsOf(restrictions) {
  return restrictions
    .getRestrictions()
    .map((each) => ({
      purposeId: each.purposeId,
      restrictionType: each.restrictionType,
      vendorIds: restrictions.getVendors(each).sort((a, b) => a - b),
    }))
    .sort(byPurposeAndType);
}

function byPurposeAndType(a, b) {
  return a.purposeId - b.purposeId || a.restrictionType - b.restrictionType;
}

function median(values) {
  return values.sort((a, b) => a - b)[Math.floor(values.length / 2)];
}

strings.forEach((text, index) => {
  const theirs = TCString.decode(text);
  const ours = JSON.parse(lines[index]);
  assert.equal(+theirs.created / 1000, ours.created);
  assert.equal(theirs.cmpId, ours.cmpId);
  assert.equal(theirs.consentLanguage, ours.consentLanguage);
  assert.equal(theirs.publisherCountryCode, ours.publisherCountryCode);
  assert.equal(theirs.policyVersion, ours.policyVersion);
  assert.equal(theirs.isServiceSpecific, ours.isServiceSpecific);
  assert.deepEqual(idsOf(theirs.specialFeatureOptins), ours.specialFeatureOptIns);
  assert.deepEqual(idsOf(theirs.purposeConsents), ours.purposeConsents);
  assert.deepEqual(idsOf(theirs.purposeLegitimateInterests), ours.purposeLegitimateInterests);
  assert.deepEqual(idsOf(theirs.vendorConsents), ours.vendorConsents);
  assert.deepEqual(idsOf(theirs.vendorLegitimateInterests), ours.vendorLegitimateInterests);
  assert.deepEqual(idsOf(theirs.vendorsDisclosed), ours.disclosedVendors ?? []);
  assert.deepEqual(idsOf(theirs.vendorsAllowed), ours.allowedVendors ?? []);
  assert.deepEqual(
    restrictionsOf(theirs.publisherRestrictions),
    ours.publisherRestrictions.sort(byPurposeAndType),
  );

  const times = [];
  for (let round = 0; round < 201; ++round) {
    const begin = process.hrtime.bigint();
    TCString.decode(text);
    times.push(Number(process.hrtime.bigint() - begin) / 1e6);
  }
  console.log(median(times).toFixed(3));
});
