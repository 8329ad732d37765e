// A device's consents along the time, as steps: how many purposes are consented to, and when.

import {h, svg} from './dom.js';
import {count, exactTime, moment, rangesInWords} from './format.js';
import {address, show} from './look.js';

const width = 720;
const height = 120;
const edge = 12;

function inWords({consent, requests}) {
    const arrival = requests.at(-1);
    const what = consent === null ? 'no string'
        : consent.error ? 'a string that cannot be decoded'
            : `${count(consent.purposeCount, 'purpose')}${consent.purposeCount ? ` (${rangesInWords(consent.purposes)})` : ''}, ` +
              `${count(consent.vendorCount, 'vendor')}` +
              (consent.problemCount ? `, ! ${count(consent.problemCount, 'problem')}` : '');
    return `${what}; ${requests.length > 1 ? `came ${requests.length} times, ` : ''}` +
        `${arrival.delivered ? 'delivered' : 'not delivered'}`;
}

function purposesOf(event) {
    return event.consent && !event.consent.error ? event.consent.purposeCount : 0;
}

function kindOf(event) {
    if (event.consent === null) {
        return 'none';
    }
    return event.consent.error || event.consent.problemCount ? 'bad' : 'good';
}

function point(event, x, y) {
    const kind = kindOf(event);
    const mark = kind === 'bad' ? svg('rect', {x: x - 5, y: y - 5, width: 10, height: 10, class: 'point bad'})
        : svg('circle', {cx: x, cy: y, r: 5, class: `point ${kind}`});
    return svg('g', {
        class: 'event', onclick: () => show({view: 'requests', number: event.requests.at(-1).number, tab: '', device: ''}),
    }, svg('title', {}, `${exactTime(event.moment)}: ${inWords(event)}`),
    event.requests.length > 1 ? svg('circle', {cx: x, cy: y, r: 9, class: 'again'}) : svg('g'), mark);
}

export function timeline(device, gaps) {
    const events = device.events;
    if (events.length === 0) {
        return h('p', {class: 'quiet'}, 'No consent events came from this device.');
    }
    const first = events[0].moment;
    const last = Math.max(events.at(-1).moment, device.lastSeen);
    const most = Math.max(11, ...events.map(purposesOf));
    const x = at => edge + (at - first) / Math.max(1, last - first) * (width - 2 * edge);
    const y = value => height - edge - value / most * (height - 2 * edge);
    const steps = events.map((event, index) =>
        (index ? `H${x(event.moment)}V` : `M${x(event.moment)} `) + y(purposesOf(event))).join('');
    const image = svg('svg', {
        viewBox: `0 0 ${width} ${height}`, class: 'timeline', role: 'img',
        'aria-label': `Purposes consented to over time, from ${moment(first)} to ${moment(last)}; the list below says the same`,
    },
    gaps.map(({from, until}) => svg('rect', {
        x: x(from), y: 0, width: Math.max(3, x(Math.min(until, last)) - x(from)), height, class: 'gap',
    })),
    svg('line', {x1: 0, x2: width, y1: y(0), y2: y(0), class: 'axis'}),
    svg('path', {d: `${steps}H${width - edge}`, class: 'steps-line'}),
    events.map(event => point(event, x(event.moment), y(purposesOf(event)))));
    return h('div', {}, image,
        h('p', {class: 'quiet legend'}, `${moment(first)} to ${moment(last)} · height: purposes consented to · `,
            '● consent · ○ no string · ■ with problems · ring: came again · shaded: gap'),
        h('ol', {class: 'plain event-list', reversed: true}, [...events].reverse().slice(0, 50).map(event =>
            h('li', {}, h('a', {
                href: address({view: 'requests', number: event.requests.at(-1).number, tab: 'consent', device: ''}),
            }, moment(event.moment)), ' ', inWords(event)))));
}
