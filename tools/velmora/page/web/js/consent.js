// A consent in words.

import {copyButton, identifier, long} from './copy.js';
import {differenceView} from './difference.js';
import {h} from './dom.js';
import {count, date, middle, moment, number, sentence} from './format.js';
import {address, show} from './look.js';
import {publisherView, restrictionsView} from './publisher.js';
import {ask} from './service.js';
import {vendorsView} from './vendors.js';
import {sign} from './verdicts.js';

function tick(isGiven) {
    return h('span', {class: isGiven ? 'tick yes' : 'tick no'},
        h('span', {'aria-hidden': 'true'}, isGiven ? '✓' : '–'),
        h('span', {class: 'unseen'}, isGiven ? 'yes' : 'no'));
}

function problemsView({problems}) {
    return problems.length === 0
        ? h('p', {class: 'verdict'}, sign('good'), 'The string follows the framework’s rules.')
        : h('ul', {class: 'findings'}, problems.map(({text, remedy}) => h('li', {}, sign('bad'),
            h('div', {}, h('strong', {}, long(sentence(text))), remedy
                ? h('span', {class: 'remedy'}, `What to do: ${remedy}.`) : ''))));
}

function purposesView({purposes, version}) {
    const hasInterest = version > 1;
    return h('table', {class: 'purposes'},
        h('caption', {}, 'Purposes'),
        h('thead', {}, h('tr', {}, h('th', {scope: 'col'}, 'Consent'),
            hasInterest ? h('th', {scope: 'col'}, 'Interest') : '',
            h('th', {scope: 'col'}, 'Purpose'))),
        h('tbody', {}, purposes.map(({id, name, consent, interest}) =>
            h('tr', {class: consent || interest ? 'given' : ''}, h('td', {}, tick(consent)),
                hasInterest ? h('td', {}, tick(interest)) : '',
                h('th', {scope: 'row'}, `${id} `, h('span', {}, name))))));
}

function featuresView({features}) {
    return !features ? '' : h('table', {class: 'purposes'}, h('caption', {}, 'Special features'),
        h('thead', {}, h('tr', {}, h('th', {scope: 'col'}, 'Opt-in'), h('th', {scope: 'col'}, 'Feature'))),
        h('tbody', {}, features.map(({id, name, consent}) =>
            h('tr', {class: consent ? 'given' : ''}, h('td', {}, tick(consent)),
                h('th', {scope: 'row'}, `${id} `, h('span', {}, name))))));
}

function factsView(consent) {
    const yes = value => (value ? 'yes' : 'no');
    const facts = [
        ['Framework', `version ${consent.version}${consent.edition ? ` (${consent.edition})` : ''}`],
        ['Made', date(consent.created)],
        ['Updated', date(consent.lastUpdated)],
        ['Consent tool', `${consent.cmpId}, version ${consent.cmpVersion}, screen ${consent.screen}`],
        ['Language', consent.language],
        ['Vendor list', `version ${consent.vendorListVersion}`],
    ];
    if (consent.version > 1) {
        facts.push(['Policy', `version ${consent.policyVersion}`],
            ['Publisher’s country', consent.country],
            ['Service-specific', yes(consent.isServiceSpecific)],
            ['Own texts', yes(consent.useNonStandardTexts)],
            ['Purpose 1 not disclosed', yes(consent.purposeOneTreatment)]);
    }
    return h('dl', {class: 'facts'}, facts.map(([name, value]) =>
        h('div', {}, h('dt', {}, name), h('dd', {}, value))));
}

function eventLine(item) {
    const requests = item.requests ?? [];
    return h('p', {class: 'quiet'}, item.moment ? `Changed ${moment(item.moment)}. ` : '',
        item.identifier ? [identifier(item.identifier.id, middle(item.identifier.id)), ' ',
            item.identifier.isRecomputed
                ? 'recomputed: SHA-256 of the advertising identifier, this string and this date. '
                : 'cannot be recomputed: it was made with the installation’s own identifier, which is not sent. ']
            : '',
        requests.length > 1 ? ['Came ', count(requests.length, 'time'), ': in requests ',
            requests.flatMap((each, index) => [index ? ', ' : '',
                h('a', {href: address({number: each, item: -1})}, number(each))]), '.'] : '');
}

function stringView(text) {
    return h('details', {class: 'string'}, h('summary', {}, `The string, ${count(text.length, 'character')}`),
        copyButton(text, 'Copy', 'Copy the string'), h('code', {class: 'whole'}, long(text, 2000)));
}

function decodedView(item) {
    const text = item.item.consentString;
    if (typeof text !== 'string') {
        return [h('p', {class: 'hint'}, text === null
            ? 'No string: the key was removed, or was never there. Nothing is consented to.'
            : 'The item holds no consent string.')];
    }
    if (item.consent?.error) {
        return [h('ul', {class: 'findings'}, h('li', {}, sign('bad'),
            h('div', {}, h('strong', {}, 'This is not a consent string: ', long(item.consent.error)),
                h('span', {class: 'remedy'}, 'The consent tool wrote something else under ' +
                    'IABTCF_TCString, or the text was cut.')))), stringView(text)];
    }
    const consent = item.consent;
    return [problemsView(consent), h('div', {class: 'columns'},
        h('div', {}, purposesView(consent), featuresView(consent), restrictionsView(consent),
            publisherView(consent)),
        h('div', {}, differenceView(item.before, consent), vendorsView(consent.vendors))),
    factsView(consent), stringView(text)];
}

function chooser(detail, index) {
    return detail.list.length < 2 ? '' : h('label', {class: 'chooser'}, 'Event ',
        h('select', {onchange: event => show({tab: 'consent', item: Number(event.target.value)}, {isStep: true})},
            detail.list.map((item, each) => h('option', {value: each, selected: each === index},
                `${each + 1} of ${detail.list.length}: ${item.hasConsent ? middle(item.text, 8) : 'no string'}` +
                (item.date ? ` · ${item.date.slice(11, 19)}` : '')))));
}

export function consentPanel(detail) {
    const panel = h('div', {class: 'consent'});
    // The latest consent is what one comes to see.
    const last = Math.max(0, detail.list.findLastIndex(item => item.hasConsent));
    let shown = -1;
    panel.choose = async wanted => {
        const index = detail.list[wanted] ? wanted : last;
        if (index === shown || detail.list.length === 0) {
            return;
        }
        shown = index;
        const item = await ask(`/requests/${detail.number}/items/${index}`);
        if (index === shown && item) {
            panel.replaceChildren(chooser(detail, index), eventLine(item),
                ...decodedView(item).filter(Boolean));
        }
    };
    if (detail.list.length === 0) {
        panel.append(h('p', {class: 'hint'}, 'There are no events that could be read.'));
    }
    return panel;
}
