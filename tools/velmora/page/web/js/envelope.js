// The entries beside the events, each with what it means.

import {long} from './copy.js';
import {h} from './dom.js';
import {entries as meanings} from './meanings.js';
import {sign} from './verdicts.js';

export function envelopePanel(detail) {
    if (!detail.hasEnvelope) {
        return h('p', {class: 'hint'}, 'The body holds no envelope that could be read.');
    }
    const problemsOf = name => detail.findings.filter(({about}) => about === `envelope ${name}`);
    const missing = detail.findings.map(({about}) => about.replace(/^envelope /, ''))
        .filter((name, index) => detail.findings[index].about.startsWith('envelope ') &&
            !detail.envelope.some(entry => entry.name === name))
        .map(name => ({name, value: null}));
    const all = [...missing, ...detail.envelope]
        .sort((one, other) => problemsOf(other.name).length - problemsOf(one.name).length);
    return h('table', {class: 'pairs'},
        h('thead', {}, h('tr', {}, h('th', {scope: 'col'}, h('span', {class: 'unseen'}, 'Verdict')),
            ['Entry', 'Value', 'Meaning'].map(title => h('th', {scope: 'col'}, title)))),
        h('tbody', {}, all.map(({name, value}) => {
            const problems = problemsOf(name);
            return h('tr', {}, h('td', {}, sign(problems.length ? 'bad' : 'good')),
                h('th', {scope: 'row'}, long(name)),
                h('td', {class: 'value'}, value === null ? h('i', {}, 'absent')
                    : value === '' ? h('i', {}, 'empty') : h('code', {}, long(value))),
                h('td', {}, problems.map(({text}) => h('p', {class: 'bad'}, long(text))),
                    meanings[name] ?? 'not one of the SDK’s'));
        })));
}
