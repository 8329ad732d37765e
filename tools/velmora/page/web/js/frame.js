// The top line: where the service is, whether it is there, what it answers, and the views.

import {copyButton} from './copy.js';
import {h, svg} from './dom.js';
import {faultsPanel, answeringInWords} from './faults.js';
import {look, address} from './look.js';
import {on, store} from './store.js';
import {themeSelect} from './theme.js';

function logo() {
    return svg('svg', {viewBox: '0 0 32 32', class: 'logo', 'aria-hidden': 'true'},
        svg('rect', {width: 32, height: 32, rx: 8, class: 'logo-ground'}),
        svg('path', {d: 'M8 10l8 13 8-13', class: 'logo-line'}),
        svg('circle', {cx: 16, cy: 9, r: 2.5, class: 'logo-dot'}));
}

const connections = {
    connecting: ['○', 'connecting'],
    live: ['●', 'live'],
    away: ['◌', 'away, tries again'],
};

function statusView() {
    const status = h('span', {class: 'status'});
    on('connection', () => {
        const [sign, word] = connections[store.connection];
        const isRecording = Boolean(store.service?.recording);
        status.dataset.connection = store.connection;
        status.replaceChildren(h('span', {'aria-hidden': 'true'}, sign),
            isRecording && store.connection === 'live' ? ' recording' : ` ${word}`);
    });
    return status;
}

function placeView() {
    const place = h('span', {class: 'place'});
    on('service', () => {
        const {listening, recording} = store.service;
        place.replaceChildren(h('code', {}, recording || listening));
        if (listening) {
            place.append(copyButton(listening, 'Copy', 'Copy the address of the service'));
        }
    });
    return place;
}

function viewLinks() {
    const links = {requests: h('a', {}, 'Requests'), devices: h('a', {}, 'Devices')};
    on('look', () => {
        for (const [view, link] of Object.entries(links)) {
            link.href = address({view, device: '', number: 0, tab: '', item: -1});
            if (look.view === view) {
                link.setAttribute('aria-current', 'page');
            } else {
                link.removeAttribute('aria-current');
            }
        }
    });
    return h('nav', {'aria-label': 'Views'}, Object.values(links));
}

export function frame() {
    const faults = faultsPanel();
    const answering = h('span', {class: 'answering'});
    const open = h('button', {
        type: 'button', id: 'faults-button', 'aria-expanded': 'false', 'aria-controls': 'faults',
        onclick: () => {
            faults.hidden = !faults.hidden;
            open.setAttribute('aria-expanded', String(!faults.hidden));
        },
    }, 'Faults');
    on('service', () => (open.hidden = store.service.faults.length === 0));
    on('state', () => answering.replaceChildren(answeringInWords()));
    return h('div', {class: 'top'},
        h('div', {class: 'bar'}, logo(), h('h1', {}, 'VelmoraKit ingest'), placeView(),
            statusView(), answering, open, viewLinks(), themeSelect()),
        faults);
}
