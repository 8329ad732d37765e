// Light, dark, or as the system has it.

import {h} from './dom.js';

const choices = {system: '◐ System', light: '☀ Light', dark: '☾ Dark'};
const key = 'velmora-theme';

function stored() {
    try {
        return localStorage.getItem(key) ?? 'system';
    } catch {
        return 'system'; // storage is switched off
    }
}

function apply(choice) {
    document.documentElement.dataset.theme = choice in choices ? choice : 'system';
    try {
        localStorage.setItem(key, choice);
    } catch {
        // It holds until the page is left.
    }
}

export function themeSelect() {
    apply(stored());
    return h('label', {class: 'theme'}, h('span', {class: 'unseen'}, 'Colours'),
        h('select', {onchange: event => apply(event.target.value)},
            Object.entries(choices).map(([value, label]) => h('option',
                {value, selected: value === document.documentElement.dataset.theme}, label))));
}
