// The view of the requests: the picture of the last minutes, filters, the list, and one request.

import {chart} from './chart.js';
import {detailPane} from './detail.js';
import {h} from './dom.js';
import {filterBar} from './filters.js';
import {listPane} from './list.js';
import {look} from './look.js';
import {on} from './store.js';

export function requestsView() {
    const panes = h('div', {class: 'panes'}, listPane(), detailPane());
    on('look', () => panes.classList.toggle('has-selection', look.number > 0));
    return h('section', {class: 'view requests', 'aria-label': 'Requests'},
        h('div', {class: 'overview'}, chart(), filterBar()), panes);
}
