// Verdicts: always a sign and a word, never a colour alone.

import {h, unseen} from './dom.js';
import {plain} from './visible.js';

const signs = {good: '✓', bad: '!', unknown: '?'};
const words = {good: 'right', bad: 'wrong', unknown: 'not checked'};

export function sign(state) {
    return [h('span', {class: `sign ${state}`, 'aria-hidden': 'true'}, signs[state]),
        unseen(`${words[state]}: `)];
}

export function chips(row) {
    if (row.kind === 'refused') {
        return h('span', {class: 'chips'}, h('span', {class: 'chip bad'}, sign('bad'), 'refused'));
    }
    return h('span', {class: 'chips'}, Object.entries(row.parts).map(([name, {state, text}]) =>
        h('span', {class: `chip ${state}`, title: plain(text) || null}, sign(state), name)));
}

/** "200", "503", "no answer". */
export function answerInWords(row) {
    if (row.answer === 0) {
        return 'no answer';
    }
    return `${row.answer}${row.fault === 'cut-off' ? ' cut off' : ''}`;
}

export function answerBadge(row) {
    return h('span', {class: `badge ${row.delivered ? 'good' : 'warn'}`},
        h('span', {'aria-hidden': 'true'}, row.delivered ? '✓' : '↩'),
        unseen(row.delivered ? 'delivered: ' : 'not delivered: '), ` ${answerInWords(row)}`);
}
