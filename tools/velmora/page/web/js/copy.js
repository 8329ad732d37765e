// Copying, and texts that are too long to be shown at once.

import {announce, h} from './dom.js';
import {number} from './format.js';
import {plain} from './visible.js';

export function copyButton(text, label = 'Copy', described = label) {
    const button = h('button', {
        type: 'button', class: 'small', 'aria-label': described === label ? null : described,
        onclick: async () => {
            const whole = typeof text === 'function' ? text() : text;
            try {
                await navigator.clipboard.writeText(whole);
                button.textContent = 'Copied';
                announce('Copied');
            } catch {
                button.textContent = 'The browser refused';
            }
            setTimeout(() => (button.textContent = label), 1500);
        },
    }, label);
    return button;
}

/** A text of any length; its rest comes with a button. */
export function long(text, most = 400) {
    if (text.length <= most) {
        return h('span', {class: 'text'}, text);
    }
    const place = h('span', {class: 'text'}, text.slice(0, most), '… ');
    const button = h('button', {
        type: 'button', class: 'small',
        onclick: () => place.replaceWith(h('span', {class: 'text'}, text)),
    }, `show all ${number(text.length)} characters`);
    place.append(button);
    return place;
}

/** An identifier: shortened to look at, whole to copy. */
export function identifier(text, shown) {
    return h('span', {class: 'identifier'}, h('code', {title: plain(text.slice(0, 300))}, shown),
        copyButton(text, 'Copy', `Copy ${shown}`));
}
