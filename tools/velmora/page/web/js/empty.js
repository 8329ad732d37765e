// What to do to see the first request.

import {copyButton} from './copy.js';
import {h} from './dom.js';
import {show} from './look.js';
import {shownRows} from './selection.js';
import {on, store} from './store.js';

const example = 'CQSbk4AQSbk4ANwAAAENAwCgAAAAAAAAAAYgACPAAAAA.IDKQA4AAgAKAGQAygAAA.YAAAAAAAAAAA';

function commandLine(text) {
    return h('div', {class: 'command'}, h('pre', {tabindex: '0'}, h('code', {}, text)),
        copyButton(text, 'Copy', 'Copy the command'));
}

function firstSteps({listening, hasKey, hasSecret}) {
    const credentials = `--api-key ${hasKey ? 'KEY' : 'demo-key'} ` +
        `--secret ${hasSecret ? 'SECRET' : 'demo-secret'}`;
    return [h('h2', {}, 'Waiting for the first request'),
        h('p', {}, 'In another terminal, start a host application',
            hasSecret ? ', with the key and the secret of this service:' : ':'),
        commandLine(`velmora run --ingest ${listening} \\\n    ${credentials} \\\n    --bundle-id com.example.demo`),
        h('p', {}, 'Then let its user consent, by typing there:'),
        commandLine(`set IABTCF_TCString ${example}`),
        h('p', {}, 'A second later the request is here. Your own application shows up as well, ' +
            'when its ingest address is ', h('code', {}, listening), '.')];
}

export function emptyState() {
    const place = h('div', {class: 'empty'});
    let drawn = '';
    const draw = () => {
        const kind = shownRows().length > 0 || !store.service || !store.state ? 'nothing'
            : store.rows.size > 0 ? 'filtered'
                : store.state.latest > 0 || store.service.recording ? 'cleared' : 'first';
        if (kind + store.service?.run === drawn) {
            return;
        }
        drawn = kind + store.service?.run;
        place.hidden = kind === 'nothing';
        place.replaceChildren(...{
            nothing: () => [],
            first: () => firstSteps(store.service),
            cleared: () => [h('h2', {}, 'No requests'), h('p', {}, 'The next one appears here.')],
            filtered: () => [h('h2', {}, 'No request is like that'),
                h('button', {
                    type: 'button',
                    onclick: () => {
                        document.getElementById('search').value = '';
                        show({verdict: '', kind: '', from: '', text: ''}, {isStep: true});
                    },
                }, 'Show all')],
        }[kind]());
    };
    for (const name of ['service', 'state', 'rows', 'look', 'found']) {
        on(name, draw);
    }
    return place;
}
