// Keys for those who leave the mouse alone.

import {h} from './dom.js';
import {look, show} from './look.js';
import {step} from './selection.js';

const keys = {
    j: ['the next request', () => step(1)],
    k: ['the one before', () => step(-1)],
    '/': ['search', () => document.getElementById('search').focus()],
    '?': ['these keys', () => toggleHelp()],
    Escape: ['close: these keys, the search, the request', () => leave()],
};

let help = null;

function toggleHelp() {
    help.hidden = !help.hidden;
}

function leave() {
    const search = document.getElementById('search');
    if (!help.hidden) {
        help.hidden = true;
    } else if (document.activeElement === search && search.value) {
        search.value = '';
        show({text: ''}, {isStep: true});
    } else if (document.activeElement === search) {
        search.blur();
    } else if (look.number) {
        show({number: 0, tab: '', item: -1});
    }
}

export function startKeys() {
    help = h('aside', {class: 'keys', hidden: true, 'aria-label': 'Keys'}, h('h2', {}, 'Keys'),
        h('dl', {}, Object.entries(keys).map(([key, [meaning]]) =>
            h('div', {}, h('dt', {}, h('kbd', {}, key === 'Escape' ? 'Esc' : key)),
                h('dd', {}, meaning)))));
    document.body.append(help);
    document.addEventListener('keydown', event => {
        const isTyping = event.target.matches?.('input[type=search], select, textarea');
        const isMeant = event.key in keys && !event.ctrlKey && !event.metaKey && !event.altKey;
        if (!isMeant || (isTyping && event.key !== 'Escape')) {
            const arrows = {ArrowDown: 1, ArrowUp: -1};
            if (event.key in arrows && event.target.matches?.('.rows')) {
                event.preventDefault();
                step(arrows[event.key]);
            }
            return;
        }
        event.preventDefault();
        keys[event.key][1]();
    });
}
