// What is looked at stands in the address, so that it survives a reload and can be sent on:
// #/requests/12/consent?verdict=wrong&text=CO, #/devices/ID.

import {change} from './store.js';

export const look = {
    view: 'requests',
    /** Of a request; 0 for none. */
    number: 0,
    tab: '',
    item: -1,
    device: '',
    verdict: '',
    kind: '',
    from: '',
    text: '',
};

const filters = ['verdict', 'kind', 'from', 'text'];

function read() {
    const [path, query] = location.hash.replace(/^#/, '').split('?');
    const [, view, ...rest] = path.split('/');
    const parameters = new URLSearchParams(query ?? '');
    look.view = view === 'devices' ? 'devices' : 'requests';
    look.number = look.view === 'requests' ? Number.parseInt(rest[0], 10) || 0 : 0;
    look.tab = look.view === 'requests' ? rest[1] ?? '' : '';
    look.item = rest[2] === undefined ? -1 : Number.parseInt(rest[2], 10) - 1;
    look.device = look.view === 'devices' ? decodeURIComponent(rest[0] ?? '') : '';
    for (const name of filters) {
        look[name] = parameters.get(name) ?? '';
    }
    change('look');
}

export function address(changes = {}) {
    const next = {...look, ...changes};
    const parts = next.view === 'devices'
        ? ['devices', encodeURIComponent(next.device)]
        : ['requests', next.number || '', next.number ? next.tab : '',
            next.number && next.tab && next.item >= 0 ? next.item + 1 : ''];
    const parameters = new URLSearchParams();
    for (const name of filters) {
        if (next[name]) {
            parameters.set(name, next[name]);
        }
    }
    const query = parameters.toString();
    return '#/' + parts.filter(part => part !== '').join('/') + (query ? `?${query}` : '');
}

/** Opening something can be gone back from; moving between neighbours cannot. */
export function show(changes, {isStep = false} = {}) {
    const target = address(changes);
    if (target === location.hash) {
        return;
    }
    if (isStep) {
        history.replaceState(null, '', target);
    } else {
        history.pushState(null, '', target);
    }
    read();
}

export function startLook() {
    addEventListener('hashchange', read);
    addEventListener('popstate', read);
    try {
        read();
    } catch {
        location.hash = ''; // an address that somebody typed
    }
}
