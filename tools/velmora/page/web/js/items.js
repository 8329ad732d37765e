// The items of the batch.

import {identifier, long} from './copy.js';
import {h} from './dom.js';
import {count, middle} from './format.js';
import {address} from './look.js';
import {sign} from './verdicts.js';

const contentTitles = {consents: 'Consent', errors: 'Error', other: 'Content'};

/** Nobody knows what an item must be that came to no known address. */
function stateOf(item, kind) {
    if (kind === 'other') {
        return 'unknown';
    }
    return item.problems.length ? 'bad' : 'good';
}

function contentOf(item, kind) {
    if (kind !== 'consents') {
        return long(item.text, 100);
    }
    return item.hasConsent ? h('code', {}, middle(item.text.replace(/…$/, ''), 14))
        : h('i', {}, 'no string: removed or never there');
}

function identifierOf(item) {
    return item.id ? [identifier(item.id, middle(item.id)),
        h('p', {class: 'quiet'}, item.isRecomputed ? 'recomputed' : 'made with an identifier that is not sent')]
        : h('i', {}, 'absent');
}

export function itemsPanel(detail) {
    if (detail.list.length === 0) {
        return h('p', {class: 'hint'}, 'There are no items that could be read.');
    }
    const isConsents = detail.kind === 'consents';
    return h('div', {}, h('table', {class: 'pairs'},
        h('thead', {}, h('tr', {}, h('th', {scope: 'col'}, h('span', {class: 'unseen'}, 'Verdict')),
            ['Item', 'Date', contentTitles[detail.kind], isConsents ? 'Identifier' : '']
                .filter(Boolean).map(title => h('th', {scope: 'col'}, title)))),
        h('tbody', {}, detail.list.map((item, index) => h('tr', {},
            h('td', {}, sign(stateOf(item, detail.kind))),
            h('th', {scope: 'row'}, isConsents
                ? h('a', {href: address({tab: 'consent', item: index})}, `Item ${index + 1}`)
                : `Item ${index + 1}`),
            h('td', {}, item.date || h('i', {}, 'absent')),
            h('td', {}, contentOf(item, detail.kind),
                item.problems.map(text => h('p', {class: 'bad'}, long(text)))),
            isConsents ? h('td', {}, identifierOf(item)) : '')))),
    detail.items > detail.list.length
        ? h('p', {class: 'hint'}, `${count(detail.items - detail.list.length, 'more item')}: save the body to see all.`)
        : '');
}
