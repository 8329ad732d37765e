// Vendors as a picture: a square an id, with the range under the pointer in words and the whole list
// to copy. Who does not see the picture has the ranges as text.

import {copyButton} from './copy.js';
import {h, svg} from './dom.js';
import {count, number, rangesInWords} from './format.js';

const pitch = 8;
const side = 6;
/** Squares of a picture; beyond it one stands for several ids. */
const most = 3000;

function has(ranges, first, last) {
    return ranges.some(range => range[0] <= last && range[1] >= first);
}

/** One path for the squares that are on and one for the others, whatever their number. */
function paths(ranges, highest, perSquare, columns) {
    const parts = {on: [], off: []};
    const squares = Math.ceil(highest / perSquare);
    for (let square = 0; square < squares; ++square) {
        const first = square * perSquare + 1;
        const x = (square % columns) * pitch;
        const y = Math.floor(square / columns) * pitch;
        const kind = has(ranges, first, first + perSquare - 1) ? 'on' : 'off';
        parts[kind].push(`M${x} ${y}h${side}v${side}h-${side}z`);
    }
    return parts;
}

function rangeAt(ranges, id) {
    return ranges.find(([first, last]) => first <= id && id <= last);
}

function picture({name, ranges}, highest) {
    const perSquare = Math.ceil(highest / most);
    const image = svg('svg', {class: 'squares', role: 'img', 'aria-label':
        `${name}: ${ranges.length ? `vendors ${rangesInWords(ranges).slice(0, 500)}` : 'no vendor'}`});
    const said = h('p', {class: 'quiet said', 'aria-hidden': 'true'},
        perSquare > 1 ? `A square is ${perSquare} ids.` : 'A square is an id.');
    let columns = 0;
    const draw = () => {
        const width = Math.max(pitch * 8, image.parentNode?.clientWidth ?? 0);
        const next = Math.floor(width / pitch);
        if (next === columns) {
            return;
        }
        columns = next;
        const lines = Math.ceil(Math.ceil(highest / perSquare) / columns);
        const {on, off} = paths(ranges, highest, perSquare, columns);
        image.setAttribute('width', columns * pitch);
        image.setAttribute('height', lines * pitch);
        image.replaceChildren(svg('path', {class: 'off', d: off.join('')}),
            svg('path', {class: 'on', d: on.join('')}));
    };
    image.addEventListener('pointermove', event => {
        const {left, top} = image.getBoundingClientRect();
        const square = Math.floor((event.clientY - top) / pitch) * columns +
            Math.floor((event.clientX - left) / pitch);
        const id = square * perSquare + 1;
        if (id > highest) {
            return;
        }
        const range = rangeAt(ranges, id);
        said.textContent = range
            ? `Vendor ${number(id)}: yes${range[0] === range[1] ? '' : `, in ${range[0]}–${range[1]}`}`
            : `Vendor ${number(id)}: no`;
    });
    const box = h('div', {class: 'squares-box'}, image);
    new ResizeObserver(draw).observe(box);
    return [box, said];
}

export function vendorsView(lists) {
    const highest = Math.max(0, ...lists.flatMap(({ranges}) => ranges.map(range => range[1])));
    return h('section', {class: 'vendors'}, h('h3', {}, 'Vendors'),
        highest === 0 ? h('p', {class: 'quiet'}, 'The string names no vendor.') : '',
        lists.map(list => h('div', {class: 'vendor-list'},
            h('div', {class: 'panel-head'},
                h('h4', {}, `${list.name}: ${number(list.count)}`,
                    highest ? h('span', {class: 'quiet'}, ` of ${number(highest)} ids`) : ''),
                list.count ? copyButton(() => rangesInWords(list.ranges), 'Copy list',
                    `Copy list: ${list.name}`) : ''),
            list.count ? picture(list, highest) : '',
            list.count ? h('details', {}, h('summary', {}, count(list.ranges.length, 'range')),
                h('p', {class: 'ranges'}, rangesInWords(list.ranges))) : '')));
}
