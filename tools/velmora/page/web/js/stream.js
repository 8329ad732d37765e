// The stream of server-sent events. It comes back by itself and says what it has seen last, so that
// nothing is missed; a page that nobody looks at does without, since a browser has few connections.

import {announce} from './dom.js';
import {show} from './look.js';
import {tellNotice} from './notices.js';
import {addRow, change, dropRowsBefore, forgetRows, store} from './store.js';

const pause = 1000;
let source = null;
let lastId = '';
let waiting = 0;

function setConnection(connection) {
    if (store.connection !== connection) {
        store.connection = connection;
        change('connection');
    }
}

function greet(service) {
    if (store.service && store.service.run !== service.run) {
        forgetRows();
        show({number: 0, tab: '', item: -1}, {isStep: true}); // its numbers begin anew
        tellNotice('restart', 'The service was restarted; what came before has gone with it.');
    }
    if (service.notice) {
        tellNotice('recording', service.notice);
    }
    store.service = service;
    setConnection('live');
    change('service');
}

function open() {
    clearTimeout(waiting);
    source?.close();
    source = new EventSource('/stream' + (lastId ? `?after=${encodeURIComponent(lastId)}` : ''));
    source.addEventListener('hello', event => greet(JSON.parse(event.data)));
    source.addEventListener('request', event => {
        lastId = event.lastEventId;
        addRow(JSON.parse(event.data));
    });
    source.addEventListener('state', event => {
        store.state = JSON.parse(event.data);
        dropRowsBefore(store.state.oldest);
        change('state');
    });
    source.addEventListener('error', () => {
        // The browser gives up after some errors; this does not.
        source.close();
        if (store.connection === 'live') {
            announce('The service does not answer');
        }
        setConnection('away');
        waiting = setTimeout(open, pause);
    });
}

export function startStream() {
    open();
    document.addEventListener('visibilitychange', () => {
        if (document.hidden) {
            clearTimeout(waiting);
            source.close();
        } else if (source.readyState === EventSource.CLOSED) {
            open();
        }
    });
}
