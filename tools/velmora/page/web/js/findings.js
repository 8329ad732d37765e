// What is wrong with a request, each with what to do about it. Wrong things come first of all.

import {long} from './copy.js';
import {h} from './dom.js';
import {count, sentence} from './format.js';
import {sign} from './verdicts.js';

/** Findings that are seen at once; the rest unfolds. */
const most = 3;

const remedies = [
    ['method', 'The service takes POST alone.'],
    ['address', 'The ingest base address ends with a slash and nothing behind it: ' +
        'http://127.0.0.1:8080/. The SDK appends 1.0/consents.'],
    ['header Content-Length', 'Something on the way changed the body; connect without a proxy.'],
    ['header', 'The SDK sends exactly the headers that the Headers tab explains. Something else ' +
        'sent this, or something on the way changed it.'],
    ['gzip', 'The whole body is one gzip member, made at level 9. Look for what changes bodies on the way.'],
    ['JSON', 'The Body tab shows what came. The body is one JSON object in UTF-8.'],
    ['body', 'The body is an object with the events in the list "batch" and the entries of the ' +
        'Envelope tab beside it.'],
    ['envelope bundleId', 'Give the SDK one bundle identifier; the envelope carries its last 256 characters.'],
    ['envelope uuid', 'Give the SDK an identifier of the form 6F9619FF-8B86-D011-B42D-00CF4FC964FF.'],
    ['envelope', 'The Envelope tab says what each entry holds.'],
    ['request', 'Look whether something that is not an HTTP client connects, or TLS meets a plain port.'],
];

function remedyFor(about, token) {
    if (about === 'signature') {
        return [token?.cause, token?.remedy].filter(Boolean).join(' ');
    }
    return remedies.find(([word]) => about.startsWith(word))?.[1] ?? '';
}

export function findingsView(detail) {
    const items = (detail.list ?? []).flatMap((item, index) =>
        item.problems.map(text => ({text: `Item ${index + 1}: ${text}`, remedy: 'The Items tab shows it.'})));
    const all = [...(detail.findings ?? []).map(({about, text}) =>
        ({text, remedy: remedyFor(about, detail.token)})), ...items.slice(0, 20)];
    if (items.length > 20) {
        all.push({text: `${count(items.length - 20, 'more finding')} in the items`, remedy: ''});
    }
    if (all.length === 0) {
        const unchecked = detail.token?.verdict?.startsWith('not checked');
        return h('p', {class: 'verdict'}, sign(unchecked ? 'unknown' : 'good'), unchecked ? `Nothing is wrong as far as can be seen; the signature is ${detail.token.verdict}.`
                : 'The backend would take this request: nothing is wrong with it.');
    }
    const lines = all.map(({text, remedy}) => h('li', {}, sign('bad'),
        h('div', {}, h('strong', {}, long(sentence(text))),
            remedy ? h('span', {class: 'remedy'}, remedy) : '')));
    return [h('ul', {class: 'findings'}, lines.slice(0, most)),
        lines.length > most ? h('details', {},
            h('summary', {}, count(lines.length - most, 'more finding')),
            h('ul', {class: 'findings'}, lines.slice(most))) : ''];
}
