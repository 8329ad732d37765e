// Elements from a name, properties and children. A text child becomes a text node.

import {visible} from './visible.js';

const svgSpace = 'http://www.w3.org/2000/svg';

function fill(element, properties, children) {
    for (const [name, value] of Object.entries(properties ?? {})) {
        if (value === undefined || value === null || value === false) {
            continue;
        }
        if (name.startsWith('on')) {
            element.addEventListener(name.slice(2), value);
        } else if (name === 'value' || name === 'checked') {
            element[name] = value;
        } else {
            element.setAttribute(name, value === true ? '' : value);
        }
    }
    for (const child of children.flat(Infinity)) {
        if (child instanceof Node) {
            element.append(child);
        } else if (child !== null && child !== undefined && child !== false) {
            element.append(visible(String(child)));
        }
    }
    return element;
}

export function h(name, properties, ...children) {
    return fill(document.createElement(name), properties, children);
}

export function svg(name, properties, ...children) {
    return fill(document.createElementNS(svgSpace, name), properties, children);
}

/** Heard by those who do not see it. */
export function unseen(text) {
    return h('span', {class: 'unseen'}, text);
}

export function announce(text) {
    document.getElementById('announcer').textContent = text;
}
