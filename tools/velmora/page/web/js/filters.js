// Which requests are shown, and the buttons that concern all of them.

import {h} from './dom.js';
import {count, number} from './format.js';
import {look, show} from './look.js';
import {command} from './service.js';
import {shownRows} from './selection.js';
import {on, setPaused, store} from './store.js';

const verdicts = {'': 'all verdicts', wrong: '! something wrong', sound: '✓ sound',
    failed: '↩ not delivered'};
const kinds = {'': 'all kinds', consents: 'consents', errors: 'errors', other: 'other addresses',
    refused: 'refused'};

function select(name, label, options) {
    const element = h('select', {
        'aria-label': label, name, onchange: event => show({[name]: event.target.value}, {isStep: true}),
    }, Object.entries(options).map(([value, text]) => h('option', {value}, text)));
    on('look', () => (element.value = look[name]));
    return element;
}

function deviceSelect() {
    const element = h('select', {
        'aria-label': 'Device', name: 'from',
        onchange: event => show({from: event.target.value}, {isStep: true}),
    });
    let drawn = null;
    const draw = () => {
        const devices = new Map();
        for (const row of store.rows.values()) {
            if (row.device) {
                devices.set(row.device, row.app);
            }
        }
        if (look.from && !devices.has(look.from)) {
            devices.set(look.from, '');
        }
        const key = [...devices.keys()].join('\n') + look.from;
        if (key !== drawn) {
            drawn = key;
            element.replaceChildren(h('option', {value: ''}, 'all devices'),
                ...[...devices].map(([device, app]) => h('option', {value: device},
                    `${device.slice(0, 8)} ${app.slice(0, 40)}`)));
            element.value = look.from;
        }
    };
    on('rows', draw);
    on('look', draw);
    return element;
}

function searchField() {
    let waiting = 0;
    const field = h('input', {
        type: 'search', id: 'search', class: 'always', placeholder: 'Search', 'aria-label': 'Search in the requests',
        title: 'Anything in headers and bodies; key /', autocomplete: 'off', spellcheck: 'false',
        oninput: () => {
            clearTimeout(waiting);
            waiting = setTimeout(() => show({text: field.value}, {isStep: true}), 150);
        },
    });
    on('look', () => {
        if (document.activeElement !== field) {
            field.value = look.text;
        }
    });
    return field;
}

function summaryLine() {
    const line = h('p', {class: 'totals'});
    const draw = () => {
        if (!store.state) {
            return;
        }
        const {totals, oldest, latest} = store.state;
        const gone = totals.requests - (latest - oldest + 1);
        const shown = shownRows().length;
        const known = store.rows.size;
        line.replaceChildren(
            `${count(totals.requests, 'request')} · ${count(totals.events, 'event')}`,
            totals.wrong ? h('span', {class: 'bad'}, ` · ! ${number(totals.wrong)} wrong`) : '',
            totals.failed ? h('span', {class: 'warn'}, ` · ↩ ${number(totals.failed)} not delivered`) : '',
            gone > 0 ? ` · the oldest ${number(gone)} have gone, ${number(store.service.mostKept)} are kept` : '',
            shown < known ? ` · ${number(shown)} shown` : '');
    };
    on('state', draw);
    on('rows', draw);
    on('look', draw);
    on('found', draw);
    return line;
}

export function filterBar() {
    const pause = h('button', {
        type: 'button', 'aria-pressed': 'false', onclick: () => setPaused(!store.isPaused),
    }, 'Pause');
    on('rows', () => {
        pause.setAttribute('aria-pressed', String(store.isPaused));
        const held = store.held.size;
        pause.textContent = store.isPaused ? `Go on${held ? ` (${number(held)} new)` : ''}` : 'Pause';
    });
    const clear = h('button', {type: 'button', onclick: () => command('clear')}, 'Clear');
    on('service', () => (clear.hidden = pause.hidden = Boolean(store.service.recording)));
    const fields = h('div', {class: 'filter-fields', role: 'search'}, searchField(),
        select('verdict', 'Verdict', verdicts), select('kind', 'Kind', kinds), deviceSelect());
    const more = h('button', {
        type: 'button', class: 'more always', 'aria-expanded': 'false',
        onclick: () => more.setAttribute('aria-expanded', String(fields.classList.toggle('open'))),
    }, 'Filter');
    fields.firstChild.after(more);
    return h('div', {class: 'filters'}, h('div', {class: 'filter-head'}, summaryLine(), pause, clear),
        fields);
}
