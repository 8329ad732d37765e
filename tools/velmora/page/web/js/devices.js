// The devices: who they are, when they were seen, and their consents as a time line.

import {identifier} from './copy.js';
import {h} from './dom.js';
import {count, duration, exactTime, middle, moment, number} from './format.js';
import {address, look} from './look.js';
import {ask} from './service.js';
import {on} from './store.js';
import {timeline} from './timeline.js';

/** An event that waited longer than this was held up. */
const patience = 60000;

function repeated(device) {
    return device.events.filter(event => event.requests.length > 1);
}

/** Times from a change to its arrival that were long, joined where they overlap. */
function gaps(device) {
    const joined = [];
    for (const {moment: from, requests} of device.events) {
        const until = requests[0].time;
        if (until - from <= patience) {
            continue;
        }
        const last = joined.at(-1);
        if (last && from <= last.until) {
            last.until = Math.max(last.until, until);
            last.events += 1;
        } else {
            joined.push({from, until, events: 1});
        }
    }
    return joined;
}

function repeatedView(device) {
    const again = repeated(device);
    return h('section', {}, h('h3', {}, 'Events that came more than once'),
        again.length === 0 ? h('p', {class: 'quiet'}, 'None.') : h('ul', {class: 'plain'},
            again.map(event => h('li', {}, identifier(event.id, middle(event.id)), ` ${event.date}: `,
                event.requests.map((each, index) => [index ? ', ' : '',
                    h('a', {href: address({view: 'requests', number: each.number, device: '', tab: ''})},
                        `request ${number(each.number)}`),
                    each.delivered ? ' ✓ delivered' : ` ↩ ${each.answer || 'no answer'}`]),
                h('p', {class: 'quiet'}, event.requests.slice(0, -1).some(each => each.delivered)
                    ? 'It came again after a delivery: the answer may have been lost on its way.'
                    : 'As it should be: it came again because it was not delivered before.')))));
}

function gapsView(device) {
    const found = gaps(device);
    return h('section', {}, h('h3', {}, 'Gaps'),
        found.length === 0
            ? h('p', {class: 'quiet'}, `None${device.events.length > 0 ? ': every event came within a minute of its change' : ''}.`)
            : h('ul', {class: 'plain'}, found.map(({from, until, events}) => h('li', {},
                `${moment(from)} to ${moment(until)}: ${count(events, 'event')} waited up to ${duration(until - from)} ` +
                'because of failures, intervals, or a device without a network.'))));
}

function facts(device) {
    const rows = [
        ['Application', `${device.app || '–'} ${device.appVersion}`],
        ['SDK', device.sdkVersion || '–'],
        ['System', `${device.system || '–'} on ${device.model || '–'}`],
        ['First seen', h('time', {title: exactTime(device.firstSeen)}, moment(device.firstSeen))],
        ['Last seen', h('time', {title: exactTime(device.lastSeen)}, moment(device.lastSeen))],
        ['Requests', h('a', {href: address({view: 'requests', from: device.id, device: '', number: 0})},
            number(device.requestCount))],
        ['Events', number(device.eventCount)],
    ];
    return h('dl', {class: 'facts'}, rows.map(([name, value]) =>
        h('div', {}, h('dt', {}, name), h('dd', {}, value))));
}

function deviceDetail(device) {
    return [h('a', {class: 'back', href: address({view: 'devices', device: ''})}, '← All devices'),
        h('h2', {}, 'Device ', identifier(device.id, middle(device.id, 9))), facts(device),
        h('section', {}, h('h3', {}, 'Consents'), timeline(device, gaps(device))),
        repeatedView(device), gapsView(device)];
}

/** The link of a device stays the same element, so that a click or the focus on it is not lost. */
function linkList(list) {
    const links = new Map();
    let drawn = '';
    return devices => {
        for (const device of devices) {
            const link = links.get(device.id) ?? h('a', {href: address({view: 'devices', device: device.id})});
            links.set(device.id, link);
            link.replaceChildren(h('strong', {}, middle(device.id, 9)),
                h('span', {}, `${(device.app || 'no bundle identifier').slice(0, 60)} ${device.appVersion.slice(0, 20)}`),
                h('span', {class: 'quiet'},
                    `seen ${moment(device.lastSeen)} · ${count(device.eventCount, 'event')}`,
                    repeated(device).length ? ` · ${count(repeated(device).length, 'event')} again` : ''));
            if (device.id === look.device) {
                link.setAttribute('aria-current', 'true');
            } else {
                link.removeAttribute('aria-current');
            }
        }
        const order = devices.map(({id}) => id).join('\n');
        if (order !== drawn) {
            drawn = order;
            list.replaceChildren(...devices.map(({id}) => h('li', {}, links.get(id))));
        }
    };
}

function nothingChosen(devices) {
    return [look.device ? h('a', {class: 'back', href: address({view: 'devices', device: ''})}, '← All devices') : '',
        h('p', {class: 'hint'}, devices.length === 0 ? 'A device appears here with its first request.'
            : look.device ? 'This device is no longer kept.' : 'Choose a device.')];
}

export function devicesView() {
    const list = h('ul', {class: 'device-list', 'aria-label': 'Devices'});
    const pane = h('article', {class: 'detail-pane device-pane', 'aria-label': 'The selected device'});
    const panes = h('div', {class: 'panes'}, h('div', {class: 'list-pane'}, list), pane);
    const drawLinks = linkList(list);
    let devices = null;
    let waiting = 0;
    let drawn = '';

    const draw = () => {
        if (look.view !== 'devices' || !devices) {
            return;
        }
        panes.classList.toggle('has-selection', Boolean(look.device));
        drawLinks(devices);
        const device = devices.find(each => each.id === look.device);
        const key = look.device + JSON.stringify(device ?? devices.length);
        if (key !== drawn) {
            drawn = key;
            pane.replaceChildren(...(device ? deviceDetail(device) : nothingChosen(devices)));
        }
    };
    const load = async () => {
        waiting = 0;
        if (look.view === 'devices') {
            devices = await ask('/devices') ?? devices;
            draw();
        }
    };
    // New requests come by the hundred; a picture a second is enough.
    on('rows', () => (waiting ||= setTimeout(load, 1000)));
    on('look', () => {
        draw();
        load();
    });
    on('service', load);
    return h('section', {class: 'view', 'aria-label': 'Devices', hidden: true}, panes);
}
