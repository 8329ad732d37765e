// Tabs with the keys that are expected of them.

import {h} from './dom.js';

/** `tabs`: {name, label, panel()}. The panel of a tab is made when it is first looked at. */
export function tabList(tabs, chosen, onChoose) {
    const made = new Map();
    const place = h('div', {class: 'panel', role: 'tabpanel', tabindex: '0', id: 'panel'});
    const buttons = tabs.map(({name, label}) => h('button', {
        type: 'button', role: 'tab', id: `tab-${name}`, 'aria-controls': 'panel',
        onclick: () => onChoose(name),
        onkeydown: event => {
            const by = {ArrowRight: 1, ArrowLeft: -1}[event.key];
            if (by) {
                const at = (buttons.indexOf(event.target) + by + buttons.length) % buttons.length;
                buttons[at].focus();
                onChoose(tabs[at].name);
            }
        },
    }, label));
    const view = h('div', {class: 'tabs'},
        h('div', {class: 'tab-row', role: 'tablist', 'aria-label': 'Parts of the request'}, buttons),
        place);

    view.choose = (wanted, item) => {
        const tab = tabs.find(each => each.name === wanted) ?? tabs[0];
        for (const [index, button] of buttons.entries()) {
            const isChosen = tabs[index] === tab;
            button.setAttribute('aria-selected', String(isChosen));
            button.tabIndex = isChosen ? 0 : -1;
        }
        if (!made.has(tab)) {
            made.set(tab, tab.panel());
        }
        const panel = made.get(tab);
        if (place.firstChild !== panel) {
            place.replaceChildren(panel);
            place.setAttribute('aria-labelledby', `tab-${tab.name}`);
        }
        panel.choose?.(item);
    };
    view.choose(chosen, -1);
    return view;
}
