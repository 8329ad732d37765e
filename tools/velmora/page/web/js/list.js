// The list of requests. Only the rows in sight are elements, so that any number stays smooth, and
// nothing that comes or goes moves what somebody reads.

import {h} from './dom.js';
import {emptyState} from './empty.js';
import {bytes, count, exactTime, middle, time} from './format.js';
import {look, show} from './look.js';
import {shownRows} from './selection.js';
import {on} from './store.js';
import {answerBadge, chips} from './verdicts.js';

const rowHeight = 64;
const spare = 6;

function rowView(row) {
    return h('div', {
        class: `row${row.sound ? '' : ' wrong'}`, role: 'option', id: `row-${row.number}`,
        onclick: () => show({number: row.number, item: -1}),
    },
    h('div', {class: 'row-line'},
        h('time', {title: exactTime(row.time)}, time(row.time)),
        h('span', {class: 'path'}, row.method === 'POST' ? '' : `${row.method} `, row.path),
        h('span', {class: 'quiet device'}, row.device ? middle(row.device, 4) : ''),
        h('span', {class: 'quiet events'}, row.kind === 'refused' ? ''
            : count(row.items, row.kind === 'errors' ? 'error' : 'event')),
        answerBadge(row)),
    h('div', {class: 'row-line'}, chips(row),
        h('span', {class: 'quiet size'}, bytes(row.bytes))));
}

/** Draws what is in sight of the scrolled box; elements stay as long as their rows are there. */
function drawer(box, room) {
    const views = new Map();
    return () => {
        const all = shownRows();
        const from = Math.max(0, Math.floor(box.scrollTop / rowHeight) - spare);
        const until = Math.ceil((box.scrollTop + box.clientHeight) / rowHeight) + spare;
        const inSight = all.slice(from, until);
        const kept = new Set(inSight);
        for (const [row, view] of views) {
            if (!kept.has(row)) {
                view.remove();
                views.delete(row);
            }
        }
        let place = room.firstChild;
        for (const [index, row] of inSight.entries()) {
            const view = views.get(row) ?? rowView(row);
            views.set(row, view);
            view.style.top = `${(from + index) * rowHeight}px`;
            view.setAttribute('aria-selected', String(row.number === look.number));
            view.setAttribute('aria-posinset', from + index + 1);
            view.setAttribute('aria-setsize', all.length);
            if (view === place) {
                place = view.nextSibling;
            } else {
                room.insertBefore(view, place); // in order also for those who hear it
            }
        }
        const selected = document.getElementById(`row-${look.number}`);
        if (selected) {
            box.setAttribute('aria-activedescendant', selected.id);
        } else {
            box.removeAttribute('aria-activedescendant');
        }
    };
}

export function listPane() {
    const room = h('div', {class: 'room', role: 'presentation'});
    const box = h('div', {
        class: 'rows', role: 'listbox', tabindex: '0', 'aria-label': 'Requests, the latest last',
    }, room);
    const later = h('button', {type: 'button', class: 'later', hidden: true}, 'Newer below ↓');
    const draw = drawer(box, room);
    let isAtEnd = true;
    let top = {number: 0, offset: 0};

    const note = () => {
        isAtEnd = box.scrollTop + box.clientHeight >= box.scrollHeight - 4;
        const first = shownRows()[Math.floor(box.scrollTop / rowHeight)];
        top = {number: first?.number ?? 0, offset: box.scrollTop % rowHeight};
        later.hidden = later.hidden || isAtEnd;
    };
    const place = () => {
        const all = shownRows();
        const follows = isAtEnd && look.number === 0;
        room.style.height = `${all.length * rowHeight}px`;
        const index = all.findIndex(row => row.number >= top.number);
        box.scrollTop = follows ? box.scrollHeight : Math.max(0, index) * rowHeight + top.offset;
        later.hidden = follows || box.scrollTop + box.clientHeight >= box.scrollHeight - 4;
        draw();
    };
    box.addEventListener('scroll', () => {
        note();
        draw();
    });
    later.addEventListener('click', () => (box.scrollTop = box.scrollHeight));
    new ResizeObserver(draw).observe(box);
    on('rows', place);
    on('found', place);
    let chosen = 0;
    on('look', () => {
        place();
        if (chosen && !look.number) {
            box.focus(); // the way back ends where it began
        }
        chosen = look.number;
        const at = shownRows().findIndex(row => row.number === look.number);
        if (at >= 0) { // into sight
            const highest = at * rowHeight;
            const lowest = highest + rowHeight - box.clientHeight;
            box.scrollTop = Math.min(highest, Math.max(lowest, box.scrollTop));
            draw();
        }
    });
    return h('div', {class: 'list-pane'}, box, later, emptyState());
}
