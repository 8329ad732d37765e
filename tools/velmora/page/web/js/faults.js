// The answers that can be asked for, each with what the SDK does then.

import {h} from './dom.js';
import {command} from './service.js';
import {on, store} from './store.js';

function words({answer, fault, delay}) {
    const known = store.service?.faults.find(each => each.name === fault);
    if (known) {
        return known.title;
    }
    return `${answer}${delay > 0 ? ` after ${delay} s` : ''}`;
}

/** "answering 200", "answering 200, the next one 503 Unavailable". */
export function answeringInWords() {
    const {answering, next} = store.state;
    if (!answering) {
        return '';
    }
    return `answering ${words(answering)}${next ? `, the next one ${words(next)}` : ''}`;
}

function isOn(fault) {
    const {answering, next} = store.state ?? {};
    // A plain 200 is the same by whatever command it came.
    const isPlain = fault.name === '200' && answering?.fault === '' && answering.answer === 200 &&
        answering.delay === 0;
    return answering?.fault === fault.name || isPlain || next?.fault === fault.name;
}

export function faultsPanel() {
    const scope = h('fieldset', {class: 'scope'}, h('legend', {}, 'Answer'),
        [['next', 'the next request'], ['', 'every request from now on']].map(([value, label]) =>
            h('label', {}, h('input', {type: 'radio', name: 'scope', value, checked: value === 'next'}),
                label)));
    const list = h('ul', {class: 'fault-list'});
    const draw = () => list.replaceChildren(...(store.service?.faults ?? []).map(fault =>
        h('li', {},
            h('button', {
                type: 'button', class: 'fault', 'aria-pressed': String(isOn(fault)),
                'data-fault': fault.name,
                onclick: () => {
                    const chosen = scope.querySelector('input:checked').value;
                    command(`fault ${fault.name} ${chosen}`.trim());
                },
            }, h('strong', {}, fault.title), h('span', {}, fault.does),
            h('span', {class: 'then'}, h('b', {}, 'Then: '), fault.then)))));
    on('service', draw);
    on('state', () => {
        for (const button of list.querySelectorAll('button')) {
            const fault = store.service.faults.find(each => each.name === button.dataset.fault);
            button.setAttribute('aria-pressed', String(isOn(fault)));
        }
    });
    return h('section', {id: 'faults', class: 'faults', hidden: true, 'aria-label': 'Faults'},
        scope, list);
}
