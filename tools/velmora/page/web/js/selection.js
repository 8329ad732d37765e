// Which of the rows are shown, and the one that is looked at.

import {look, show} from './look.js';
import {ask} from './service.js';
import {change, on, store} from './store.js';

let shown = [];

function matches(row) {
    if (look.verdict === 'sound' && !row.sound) {
        return false;
    }
    if (look.verdict === 'wrong' && row.sound) {
        return false;
    }
    if (look.verdict === 'failed' && row.delivered) {
        return false;
    }
    return (!look.kind || row.kind === look.kind) && (!look.from || row.device === look.from) &&
        (!look.text || (store.found?.has(row.number) ?? false));
}

function select() {
    shown = [...store.rows.values()].filter(matches);
}

/** Ordered by number. */
export function shownRows() {
    return shown;
}

/** To the neighbour of the selected row: 1 is the next one, -1 the one before. */
export function step(by) {
    const at = shown.findIndex(row => row.number === look.number);
    const next = at < 0 ? (by > 0 ? 0 : shown.length - 1) : at + by;
    if (shown[next]) {
        show({number: shown[next].number, item: -1}, {isStep: look.number > 0});
    }
}

let searched = '';
let searchedUntil = 0;
let isSearching = false;

/** The service searches, since only it has the bodies; then only what is new. */
async function search() {
    if (isSearching) {
        return;
    }
    if (look.text !== searched) {
        searched = look.text;
        searchedUntil = 0;
        store.found = searched ? new Set() : null;
        change('found');
    }
    const latest = Math.max(0, ...[...store.rows.keys()].slice(-1));
    if (!searched || latest <= searchedUntil) {
        return;
    }
    isSearching = true;
    const parameters = new URLSearchParams({text: searched, after: searchedUntil});
    const numbers = await ask(`/search?${parameters}`);
    isSearching = false;
    if (numbers && look.text === searched) {
        searchedUntil = latest;
        for (const found of numbers) {
            store.found.add(found);
        }
        change('found');
    }
    setTimeout(search, 250);
}

export function startSelection() {
    // First of all listeners: the others show what is selected here.
    on('rows', select);
    on('look', select);
    on('found', select);
    on('rows', search);
    on('look', search);
}
