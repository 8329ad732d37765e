// The body: folded to look through, raw to compare.

import {copyButton, long} from './copy.js';
import {h} from './dom.js';
import {count, number} from './format.js';

/** Entries that a folded list shows at first. */
const most = 100;

function leaf(value) {
    const kind = value === null ? 'null' : typeof value;
    return h('span', {class: `json-${kind}`},
        kind === 'string' ? ['"', long(value), '"'] : String(value));
}

function branch(value, isOpen) {
    const isList = Array.isArray(value);
    const entries = Object.entries(value);
    const [before, after] = isList ? '[]' : '{}';
    if (entries.length === 0) {
        return h('span', {}, before, after);
    }
    const list = h('ul', {class: 'json'});
    const fill = (from, until) => list.append(...entries.slice(from, until).map(([key, each]) =>
        h('li', {}, isList ? h('span', {class: 'quiet'}, key, ': ')
            : h('span', {class: 'json-key'}, long(key, 100), ': '), tree(each))));
    const unfold = () => {
        if (list.childElementCount === 0) {
            fill(0, most);
            if (entries.length > most) {
                const rest = h('button', {
                    type: 'button', class: 'small',
                    onclick: () => {
                        rest.parentNode.remove();
                        fill(most, entries.length);
                    },
                }, `show the other ${number(entries.length - most)}`);
                list.append(h('li', {}, rest));
            }
        }
    };
    const fold = h('details', {ontoggle: unfold},
        h('summary', {}, before, h('span', {class: 'quiet'},
            ` ${count(entries.length, isList ? 'item' : 'entry').replace('entrys', 'entries')} `), after),
        list);
    if (isOpen) {
        unfold();
        fold.open = true;
    }
    return fold;
}

function tree(value, isOpen = false) {
    return value !== null && typeof value === 'object' ? branch(value, isOpen) : leaf(value);
}

function folded(text) {
    try {
        const value = JSON.parse(text);
        const view = tree(value, true);
        // The events are what one looks for.
        const batch = [...view.querySelectorAll('details')][0];
        if (batch) {
            batch.open = true;
        }
        return view;
    } catch {
        return h('p', {class: 'hint'}, 'The body is not JSON; Raw shows what came.');
    }
}

function raw(detail) {
    return h('pre', {class: 'raw', tabindex: '0'}, h('code', {}, long(detail.text, 20000)));
}

export function bodyPanel(detail) {
    const place = h('div', {});
    const show = isRaw => place.replaceChildren(isRaw ? raw(detail)
        : detail.isWhole ? folded(detail.text)
            : h('p', {class: 'hint'}, 'The body is large; load all of it to fold it.'));
    const isReadable = detail.unpacked > 0;
    const choices = h('fieldset', {class: 'choice'}, h('legend', {class: 'unseen'}, 'Form'),
        [['folded', 'Folded'], ['raw', 'Raw']].map(([value, label]) => h('label', {},
            h('input', {
                type: 'radio', name: 'form', value, checked: value === 'folded',
                onchange: () => show(value === 'raw'),
            }), label)));
    show(false);
    return h('div', {},
        h('dl', {class: 'facts'},
            h('div', {}, h('dt', {}, 'On the wire'), h('dd', {}, `${number(detail.bytes)} bytes`)),
            h('div', {}, h('dt', {}, 'In clear'), h('dd', {}, isReadable ? `${number(detail.unpacked)} bytes` : 'could not be unpacked')),
            isReadable ? h('div', {}, h('dt', {}, 'Saved by gzip'), h('dd', {},
                `${(100 - detail.bytes / detail.unpacked * 100).toFixed(1)} %`)) : ''),
        isReadable ? h('div', {class: 'panel-head'}, choices,
            detail.isWhole ? copyButton(detail.text, 'Copy', 'Copy the body') : h('button', {
                type: 'button', class: 'small',
                onclick: async event => {
                    event.target.remove();
                    detail.text = await (await fetch(`/requests/${detail.number}/body`)).text();
                    detail.isWhole = true;
                    show(choices.querySelector('input:checked').value === 'raw');
                },
            }, 'Load all of it')) : '',
        isReadable ? place : h('p', {class: 'hint'}, 'There is no body that could be unpacked.'));
}
