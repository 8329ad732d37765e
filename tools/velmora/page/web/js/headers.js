// The headers, each with what it means, and how the token is made.

import {copyButton, long} from './copy.js';
import {h} from './dom.js';
import {expectedHeaders, headers as meanings} from './meanings.js';
import {sign} from './verdicts.js';

function rows(detail) {
    const present = detail.headers.map(({name, value}) => ({name, value}));
    const missing = expectedHeaders
        .filter(name => !present.some(each => each.name.toLowerCase() === name.toLowerCase()))
        .map(name => ({name, value: null}));
    const problemsOf = name => detail.findings
        .filter(({about, text}) => about.toLowerCase() === `header ${name.toLowerCase()}` ||
            (about === 'signature' && text.toLowerCase().startsWith(`header ${name.toLowerCase()} `)))
        .map(({text}) => text);
    const isUnchecked = name => name.toLowerCase() === 'authorization' &&
        detail.token.verdict.startsWith('not checked');
    return [...missing, ...present].map(({name, value}) => {
        const problems = problemsOf(name);
        return {name, value, problems, isUnchecked: isUnchecked(name)};
    }).sort((one, other) => other.problems.length - one.problems.length);
}

function headerTable(detail) {
    return h('table', {class: 'pairs'},
        h('thead', {}, h('tr', {}, ['', 'Header', 'Value', 'Meaning'].map(title =>
            h('th', {scope: 'col'}, title || h('span', {class: 'unseen'}, 'Verdict'))))),
        h('tbody', {}, rows(detail).map(({name, value, problems, isUnchecked}) => h('tr', {},
            h('td', {}, sign(problems.length ? 'bad' : isUnchecked ? 'unknown' : 'good')),
            h('th', {scope: 'row'}, long(name)),
            h('td', {class: 'value'}, value === null ? h('i', {}, 'absent') : h('code', {}, long(value))),
            h('td', {}, problems.map(text => h('p', {class: 'bad'}, long(text))),
                meanings[name.toLowerCase()] ?? 'not one of the SDK’s')))));
}

function tokenView({steps, cause, remedy, verdict}) {
    const state = verdict === 'right' ? 'good' : verdict.startsWith('not checked') ? 'unknown' : 'bad';
    return h('section', {class: 'token'}, h('h3', {}, 'How the token is made'),
        h('p', {class: `verdict ${state}`}, sign(state),
            h('span', {}, state === 'good' ? 'The token is right.' : [h('strong', {}, cause), ' ', remedy])),
        h('ol', {class: 'steps'}, steps.map(({name, text, note}) => h('li', {},
            h('span', {class: 'step-name'}, name),
            h('code', {class: text && name === steps.at(-1).name && state === 'bad'
                ? 'differs' : null}, text || '–'),
            h('span', {class: 'quiet'}, note)))));
}

export function headersPanel(detail) {
    const text = () => detail.headers.map(({name, value}) => `${name}: ${value}`).join('\n');
    return h('div', {}, tokenView(detail.token),
        h('div', {class: 'panel-head'}, h('h3', {}, 'Headers'),
            copyButton(text, 'Copy', 'Copy the headers')),
        headerTable(detail));
}
