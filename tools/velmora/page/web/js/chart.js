// The picture of the last minutes: requests, those that failed, and events, by five seconds.

import {h, svg} from './dom.js';
import {count, time} from './format.js';
import {on, store} from './store.js';

const length = 5000;
const most = 120;
const height = 40;
const width = 4;

const slices = new Map();
let counted = 0;

function sliceAt(begin) {
    if (!slices.has(begin)) {
        slices.set(begin, {begin, requests: 0, events: 0, wrong: 0, failed: 0});
    }
    return slices.get(begin);
}

/** Rows that came after the greeting; what was before is in the greeting. */
function countRows() {
    for (const row of [...store.rows.values(), ...store.held.values()]) {
        if (row.number > counted) {
            const slice = sliceAt(Math.floor(row.time / length) * length);
            slice.requests += 1;
            slice.events += row.kind === 'consents' ? row.items : 0;
            slice.wrong += row.sound ? 0 : 1;
            slice.failed += row.delivered ? 0 : 1;
            counted = row.number;
        }
    }
}

function bars(last) {
    const shown = [...Array(most).keys()].map(index =>
        slices.get(last - (most - 1 - index) * length));
    const highest = Math.max(4, ...shown.map(slice => slice?.requests ?? 0));
    const mostEvents = Math.max(4, ...shown.map(slice => slice?.events ?? 0));
    const scale = value => (value === 0 ? 0 : Math.max(2, value / highest * height));
    return shown.flatMap((slice, index) => {
        if (!slice) {
            return [];
        }
        const bad = Math.min(slice.requests, Math.max(slice.wrong, slice.failed));
        const x = index * width;
        const total = scale(slice.requests);
        return [svg('g', {},
            svg('title', {}, `${time(slice.begin)}: ${count(slice.requests, 'request')}, ` +
                `${count(slice.events, 'event')}, ${slice.wrong} wrong, ${slice.failed} not delivered`),
            svg('rect', {x, y: 0, width, height, class: 'bar-ground'}),
            svg('rect', {x, y: height - total, width: width - 1, height: total, class: 'bar'}),
            svg('rect', {x, y: height - scale(bad), width: width - 1, height: scale(bad), class: 'bar-bad'}),
            svg('rect', {x, y: height - slice.events / mostEvents * (height - 2) - 2, width: width - 1,
                height: 2, class: 'bar-events'}))];
    });
}

export function chart() {
    const picture = svg('svg', {
        viewBox: `0 0 ${most * width} ${height}`, preserveAspectRatio: 'none', class: 'chart-bars',
        role: 'img',
    });
    const from = h('span', {});
    const until = h('span', {});
    let waiting = 0;
    const draw = () => {
        waiting = 0;
        const latest = Math.max(0, ...slices.keys());
        const isOver = Boolean(store.service?.recording);
        const last = isOver && latest ? latest : Math.floor(Date.now() / length) * length;
        for (const begin of slices.keys()) {
            if (begin <= last - most * length) {
                slices.delete(begin);
            }
        }
        const sum = name => [...slices.values()].reduce((total, slice) => total + slice[name], 0);
        picture.setAttribute('aria-label', `In these ten minutes: ${count(sum('requests'), 'request')}, ` +
            `${count(sum('events'), 'event')}, ${sum('wrong')} wrong, ${sum('failed')} not delivered`);
        picture.replaceChildren(...bars(last));
        from.textContent = time(last - (most - 1) * length);
        until.textContent = isOver ? time(last) : 'now';
    };
    on('service', () => {
        slices.clear();
        for (const slice of store.service.slices) {
            slices.set(slice.begin, {...slice});
        }
        counted = store.service.latest;
        draw();
    });
    on('state', () => {
        if (store.state.totals.requests === 0) { // cleared
            slices.clear();
            draw();
        }
    });
    on('rows', () => {
        countRows();
        waiting ||= setTimeout(draw, 500);
    });
    setInterval(draw, length);
    return h('figure', {class: 'chart'}, picture,
        h('figcaption', {}, from,
            h('span', {class: 'legend'}, h('i', {class: 'key key-requests'}), 'requests ',
                h('i', {class: 'key key-bad'}), 'failed ',
                h('i', {class: 'key key-events'}), 'events'), until));
}
