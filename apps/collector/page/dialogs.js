// The dialogs that need little: the list of gaps, clearing, the keyboard help; and what is shown
// when there are no events.

import * as api from './api.js';
import {button, byId, copyText, element, openDialog, toast} from './dom.js';
import {count, plural, shortened} from './format.js';

const mostGaps = 500;

export async function openGaps(onFilter) {
    const place = byId('gapsList');
    place.replaceChildren(element('p', {class: 'hint'}, 'Loading…'));
    openDialog(byId('gapsDialog'));
    try {
        const {missing, gaps} = await api.gaps();
        if (gaps.length === 0) {
            place.replaceChildren(element('p', {}, 'Nothing is missing.'));
            return;
        }
        const choose = (filter) => {
            byId('gapsDialog').close();
            onFilter(filter);
        };
        const rows = gaps.slice(0, mostGaps).map((gap) => element('tr', {},
            element('td', {}, button(shortened(gap.context, 60), {
                class: 'filterBy', title: 'Show the events of this context',
                onclick: () => choose({context: gap.context, client: gap.clientUUID}),
            })),
            element('td', {}, element('code', {}, shortened(gap.clientUUID, 60))),
            element('td', {class: 'numeric'}, gap.from === gap.to ? `${gap.from}` : `${gap.from} – ${gap.to}`),
            element('td', {class: 'numeric'}, count(gap.count))));
        const heads = ['Context', 'Client', 'Sequence', 'Missing'].map((text, index) =>
            element('th', {scope: 'col', class: index > 1 ? 'numeric' : null}, text));
        place.replaceChildren(
            element('p', {}, `${plural(missing, 'event')} missing in ${plural(gaps.length, 'gap')}.` +
                (gaps.length > mostGaps ? ` The first ${mostGaps} gaps:` : '')),
            element('table', {}, element('thead', {}, element('tr', {}, ...heads)),
                element('tbody', {}, ...rows)));
    } catch (error) {
        place.replaceChildren(element('p', {class: 'problem'}, `The gaps cannot be read: ${error.message}`));
    }
}

/// `summary()` gives what would be forgotten.
export function setUpClear(summary) {
    const dialog = byId('clearDialog');
    const problem = byId('clearProblem');
    byId('openClear').addEventListener('click', () => {
        const {events = 0, envelopes = 0} = summary() ?? {};
        byId('clearText').textContent = `${plural(events, 'event')} in ${plural(envelopes, 'envelope')}, ` +
            'and the record of all requests. This cannot be undone. Faults stay as they are.';
        problem.hidden = true;
        openDialog(dialog);
    });
    byId('clearNow').addEventListener('click', async () => {
        try {
            await api.forgetAll();
            dialog.close();
        } catch (error) {
            problem.textContent = `Nothing was cleared: ${error.message}`;
            problem.hidden = false;
        }
    });
}

export function setUpHelp() {
    const open = () => openDialog(byId('helpDialog'));
    byId('openHelp').addEventListener('click', open);
    return open;
}

/// What stands in the place of the list: how to send a first event ("nothing"), that no event
/// matches ("noMatch") or can be read ("unread"); or "".
export function showEmpty(kind, {onClearFilters, onRetry}) {
    const place = byId('empty');
    place.hidden = kind === '';
    if (place.dataset.kind === kind) return;
    place.dataset.kind = kind;
    if (kind === '') place.replaceChildren();
    if (kind === 'noMatch') {
        place.replaceChildren(element('h2', {}, 'No event matches'),
            element('p', {}, 'Events have arrived, but none that fits the filters.'),
            button('Remove all filters', {onclick: onClearFilters}));
    }
    if (kind === 'unread') {
        place.replaceChildren(element('h2', {}, 'The events cannot be read'),
            element('p', {}, 'What matches is shown once the collector answers.'),
            button('Try again', {onclick: onRetry}));
    }
    if (kind === 'nothing') {
        const command = `zentara-track --collector ${location.origin} examples/events.jsonl`;
        place.replaceChildren(element('h2', {}, 'Waiting for the first event'),
            element('p', {}, 'This collector listens at ', element('code', {}, location.origin),
                '. Set it as the collector and the schemas service of an application, or send the examples:'),
            element('div', {class: 'command'}, element('code', {}, command),
                button('Copy', {onclick: () => copyText(command, 'the command')})),
            element('p', {class: 'hint'}, 'Events appear here as they arrive.'));
    }
}

export function tellReset(wasOpen) {
    toast(wasOpen ? 'The collector was cleared; the event is gone' : 'The collector was cleared');
}
