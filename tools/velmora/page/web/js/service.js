// Questions to the service, and commands, which carry the token of its run.

import {tellNotice} from './notices.js';
import {store} from './store.js';

/** The answer, or null when it is gone or the service is away. */
export async function ask(path) {
    try {
        const answer = await fetch(path);
        return answer.ok ? await answer.json() : null;
    } catch {
        return null;
    }
}

export async function command(text) {
    try {
        const answer = await fetch('/commands', {
            method: 'POST', body: text, headers: {'X-Velmora-Token': store.service.token},
        });
        if (!answer.ok) {
            tellNotice('command', await answer.text());
        }
    } catch {
        tellNotice('command', 'The service does not answer; nothing was changed.');
    }
}
