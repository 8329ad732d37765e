// One request: what became of it, what is wrong with it, and its parts in tabs.

import {bodyPanel} from './body.js';
import {consentPanel} from './consent.js';
import {copyButton} from './copy.js';
import {curlFor} from './curl.js';
import {h} from './dom.js';
import {envelopePanel} from './envelope.js';
import {findingsView} from './findings.js';
import {bytes, exactTime, number, time} from './format.js';
import {headersPanel} from './headers.js';
import {itemsPanel} from './items.js';
import {address, look, show} from './look.js';
import {ask} from './service.js';
import {on, store} from './store.js';
import {tabList} from './tabs.js';
import {answerInWords} from './verdicts.js';

const panels = {
    consent: ['Consent', consentPanel],
    items: ['Items', itemsPanel],
    envelope: ['Envelope', envelopePanel],
    headers: ['Headers', headersPanel],
    body: ['Body', bodyPanel],
};

function outcome(detail) {
    const fault = store.service?.faults.find(each => each.name === detail.fault);
    const asked = fault && detail.fault !== '200' ? ' because you asked for it' : '';
    return h('div', {class: `outcome ${detail.delivered ? 'good' : 'warn'}`},
        h('p', {}, h('strong', {}, `Answered: ${fault && detail.answer !== 0
            ? fault.title : answerInWords(detail)}`), asked,
        detail.delay > 0 ? ` after ${detail.delay} s` : '', '. ', detail.consequence,
        detail.delivered && !detail.sound
            ? ' The service answers as it was told, whatever is wrong: choose 401 under Faults to see a refusal.'
            : ''));
}

function actions(detail) {
    if (detail.kind === 'refused') {
        return '';
    }
    const base = `/requests/${detail.number}`;
    return h('p', {class: 'actions'},
        copyButton(() => curlFor(detail, store.service.listening), 'Copy as curl'),
        h('a', {class: 'button small', href: `${base}/body`, download: `request-${detail.number}.json`},
            'Save the body'),
        h('a', {
            class: 'button small', href: `${base}/recording`, download: `request-${detail.number}.recording`,
            title: 'A file that velmora ingest --replay shows',
        }, 'Save the request'));
}

function sizes(detail) {
    return `${bytes(detail.bytes)} on the wire, ${bytes(detail.unpacked)} unpacked` +
        (detail.bytes && detail.unpacked
            ? ` (${number(Math.round(detail.bytes / detail.unpacked * 100))} %)` : '');
}

function head(detail) {
    return h('header', {class: 'detail-head'},
        h('a', {class: 'back', href: address({number: 0, tab: '', item: -1})}, '← All requests'),
        h('div', {class: 'panel-head'}, h('h2', {tabindex: '-1'}, `Request ${number(detail.number)}`), actions(detail)),
        h('p', {class: 'quiet'}, h('time', {title: exactTime(detail.time)}, time(detail.time)), ' · ',
            `${detail.method} `, h('code', {}, detail.path), ' · ', sizes(detail)),
        outcome(detail), findingsView(detail));
}

function tabsOf(detail) {
    if (detail.kind === 'refused') {
        return '';
    }
    const shown = Object.entries(panels).filter(([name]) =>
        name !== 'consent' || detail.kind === 'consents');
    const labels = {items: `Items ${number(detail.items)}`};
    return tabList(shown.map(([name, [label, panel]]) => ({
        name, label: labels[name] ?? label, panel: () => panel(detail),
    })), look.tab, tab => show({tab, item: -1}, {isStep: true}));
}

export function detailPane() {
    const pane = h('article', {class: 'detail-pane', 'aria-label': 'The selected request'});
    let shown = '';
    let asked = 0;

    async function draw() {
        const key = `${store.service?.run}/${look.number}`;
        if (look.number === 0 || !store.service) {
            shown = '';
            pane.replaceChildren(h('p', {class: 'hint'}, 'Choose a request, or press ',
                h('kbd', {}, 'j'), ' for the first. ', h('kbd', {}, '?'), ' lists the keys.'));
            return;
        }
        if (key === shown) {
            pane.querySelector('.tabs')?.choose(look.tab, look.item);
            return;
        }
        shown = key;
        asked = look.number;
        const detail = await ask(`/requests/${asked}`);
        if (asked !== look.number || key !== shown) {
            return; // another one was chosen meanwhile
        }
        if (!detail) {
            shown = '';
            pane.replaceChildren(h('a', {class: 'back', href: address({number: 0})}, '← All requests'),
                h('p', {class: 'hint'}, `Request ${asked} is no longer kept.`));
            return;
        }
        pane.replaceChildren(head(detail), tabsOf(detail));
        pane.scrollTop = 0;
        if (!document.querySelector('.rows').checkVisibility()) {
            pane.querySelector('h2').focus(); // the list, which had the focus, made room
        }
    }
    on('look', draw);
    on('service', draw);
    return pane;
}
