// What the publisher adds to a consent: restrictions and purposes of its own.

import {h} from './dom.js';
import {count, rangesInWords} from './format.js';

export function restrictionsView({restrictions, purposes}) {
    if (!restrictions?.length) {
        return '';
    }
    const nameOf = id => purposes.find(each => each.id === id)?.name ?? 'no purpose of this number';
    return h('section', {}, h('h3', {}, 'Publisher’s restrictions'),
        h('ul', {class: 'plain'}, restrictions.map(({purpose, type, count: vendors, ranges}) =>
            h('li', {}, `Purpose ${purpose} (${nameOf(purpose)}): ${type} for ${count(vendors, 'vendor')} `,
                h('span', {class: 'quiet'}, rangesInWords(ranges).slice(0, 300))))));
}

export function publisherView({publisher}) {
    if (!publisher) {
        return '';
    }
    const row = (name, ranges) => h('div', {}, h('dt', {}, name), h('dd', {}, rangesInWords(ranges) || 'none'));
    return h('section', {}, h('h3', {}, 'Publisher’s own purposes'), h('dl', {class: 'facts'},
        row('Consent', publisher.consents), row('Legitimate interest', publisher.interests),
        h('div', {}, h('dt', {}, 'Custom purposes'), h('dd', {}, String(publisher.customCount))),
        publisher.customCount ? [row('Custom, consent', publisher.customConsents),
            row('Custom, legitimate interest', publisher.customInterests)] : ''));
}
