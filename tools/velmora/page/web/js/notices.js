// What the whole page has to know, in a line that can be put away.

import {announce, h} from './dom.js';

/** A notice takes the place of an earlier one of its name. */
export function tellNotice(name, text) {
    dropNotice(name);
    const notice = h('p', {class: 'notice', 'data-name': name}, h('span', {}, text),
        h('button', {type: 'button', class: 'small', onclick: () => dropNotice(name)}, 'Put away'));
    document.getElementById('notices').append(notice);
    announce(text);
}

function dropNotice(name) {
    document.querySelector(`.notice[data-name="${name}"]`)?.remove();
}
