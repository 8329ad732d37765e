// What changed against the same device's consent before it.

import {h} from './dom.js';
import {count, countIn, number, rangesInWords} from './format.js';
import {address} from './look.js';

const rows = {
    purposeConsents: 'consent',
    purposesAllowed: 'consent',
    purposeLegitimateInterests: 'legitimate interest',
    specialFeatureOptIns: 'special feature',
    'publisherPurposes.purposeConsents': 'publisher’s consent',
    'publisherPurposes.purposeLegitimateInterests': 'publisher’s legitimate interest',
    'publisherPurposes.customPurposeConsents': 'publisher’s own purpose',
    'publisherPurposes.customPurposeLegitimateInterests': 'publisher’s own purpose, legitimate interest',
};
const vendors = {
    vendorConsents: 'consent',
    vendorLegitimateInterests: 'legitimate interest',
    disclosedVendors: 'disclosed',
    allowedVendors: 'allowed by the publisher',
};
const values = {
    cmpId: 'consent tool', cmpVersion: 'version of the consent tool', created: 'made',
    lastUpdated: 'updated', consentScreen: 'screen', consentLanguage: 'language',
    vendorListVersion: 'vendor list', policyVersion: 'policy', version: 'framework version',
    isServiceSpecific: 'service-specific', useNonStandardTexts: 'own texts',
    purposeOneTreatment: 'purpose 1 not disclosed', publisherCountryCode: 'publisher’s country',
    publisherRestrictions: 'restrictions',
};

function nameOf(entry, id, consent) {
    const list = entry === 'specialFeatureOptIns' ? consent.features : consent.purposes;
    return list?.find(each => each.id === id)?.name ?? '';
}

function lines(changes, consent, sign, word) {
    const order = [...Object.keys(rows), ...Object.keys(vendors)];
    const sorted = Object.entries(changes)
        .sort(([one], [other]) => order.indexOf(one) - order.indexOf(other));
    return sorted.flatMap(([entry, ranges]) => {
        if (entry in vendors) {
            const text = rangesInWords(ranges);
            return [h('li', {class: word}, h('b', {}, `${sign} `), h('span', {class: 'unseen'}, `${word}: `),
                `${count(countIn(ranges), 'vendor')} (${vendors[entry]}): `,
                h('span', {class: 'quiet'}, text.length > 60 ? `${text.slice(0, 60)}…` : text))];
        }
        const ids = ranges.flatMap(([first, last]) =>
            Array.from({length: last - first + 1}, (_, index) => first + index));
        return ids.map(id => h('li', {class: word}, h('b', {}, `${sign} `),
            h('span', {class: 'unseen'}, `${word}: `), `${id} ${nameOf(entry, id, consent)} `,
            h('span', {class: 'quiet'}, rows[entry] ?? entry)));
    });
}

export function differenceView(before, consent) {
    if (!before) {
        return h('p', {class: 'quiet'}, 'The first consent of this device that is kept: there is nothing to compare it with.');
    }
    const link = h('a', {href: address({number: before.number, item: -1})}, `request ${number(before.number)}`);
    if (before.equal) {
        return h('p', {class: 'quiet'}, 'The same string as in the consent before it, in ', link, '.');
    }
    if (!before.difference) {
        return h('p', {class: 'quiet'}, 'The consent before it, in ', link, ', cannot be decoded.');
    }
    const {granted, withdrawn, changed, comparesPurposes} = before.difference;
    const all = [...lines(withdrawn, consent, '−', 'withdrawn'), ...lines(granted, consent, '+', 'granted')];
    const others = Object.entries(changed).map(([entry, [old, now]]) =>
        h('li', {}, `${values[entry] ?? entry}: ${old} → ${now}`));
    return h('section', {class: 'difference'},
        h('h3', {}, 'Since the consent before it'), h('p', {class: 'quiet'}, 'Compared with ', link, '.',
            comparesPurposes ? '' : ' The two are of different framework versions: their purposes cannot be compared.'),
        all.length ? h('ul', {}, all) : h('p', {}, 'Nothing was granted or withdrawn.'),
        others.length ? h('details', {}, h('summary', {}, count(others.length, 'other change')),
            h('ul', {}, others)) : '');
}
