// What the page knows: the rows that came, and what is looked at. Whoever shows something listens;
// changes are told once a frame, however many there were.

export const store = {
    service: null,
    /** "connecting", "live" or "away". */
    connection: 'connecting',
    state: null,
    /** By number, in the order of the numbers. */
    rows: new Map(),
    /** Rows that came while paused. */
    held: new Map(),
    isPaused: false,
    /** Numbers that hold the text that is searched for; null when there is none. */
    found: null,
};

const listeners = [];
const changed = new Set();

/** Listeners are called in the order in which they came. */
export function on(name, listener) {
    listeners.push({name, listener});
}

function tell() {
    const names = new Set(changed);
    changed.clear();
    for (const listener of new Set(listeners.filter(({name}) => names.has(name)).map(each => each.listener))) {
        listener();
    }
}

/** Names: "service", "connection", "state", "rows", "look", "found". */
export function change(name) {
    if (changed.size === 0) {
        requestAnimationFrame(tell);
    }
    changed.add(name);
}

export function addRow(row) {
    if (!store.rows.has(row.number)) {
        (store.isPaused ? store.held : store.rows).set(row.number, row);
        change('rows');
    }
}

/** Lets go of what the service has let go of. */
export function dropRowsBefore(oldest) {
    for (const rows of store.isPaused ? [store.held] : [store.rows]) {
        for (const key of rows.keys()) {
            if (key >= oldest) {
                break;
            }
            rows.delete(key);
            change('rows');
        }
    }
}

export function setPaused(isPaused) {
    store.isPaused = isPaused;
    if (!isPaused) {
        for (const [key, row] of store.held) {
            store.rows.set(key, row);
        }
        store.held.clear();
        dropRowsBefore(store.state?.oldest ?? 0);
    }
    change('rows');
}

export function forgetRows() {
    store.rows.clear();
    store.held.clear();
    change('rows');
}
