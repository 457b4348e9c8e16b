// The small dialogs: the list of gaps, clearing, the keyboard help. Also the notices in place of an
// empty list.

import * as api from './api.js';
import {button, byId, copyText, element, openDialog, setChildren, toast} from './dom.js';
import {count, plural, shortened} from './format.js';
import {refusedPost} from './refused.js';

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

/// `summary()` gives the counts that would be cleared.
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

/// Selects the notice in place of the list: how to send a first event ("nothing"), no event matches
/// ("noMatch"), the events cannot be read ("unread"), or none ("").
export function showEmpty(kind, {refused, onClearFilters, onRetry, onRefused}) {
    const place = byId('empty');
    place.hidden = kind === '';
    const content = kind === 'nothing' ? `${kind} ${refused[0]?.number ?? ''}` : kind;
    if (place.dataset.content === content) return;
    place.dataset.content = content;
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
        setChildren(place, ...(refused.length === 0 ? [] : [
            element('h2', {}, 'A post was refused'), refusedPost(refused[0]),
            button('Show all that were refused', {onclick: onRefused}),
        ]), element('h2', {}, 'Waiting for the first event'),
            element('p', {}, 'This collector listens at ', element('code', {}, location.origin),
                '. Set it as the collector and the schemas service of an application, or send the examples:'),
            element('div', {class: 'command'}, element('code', {}, command),
                button('Copy', {onclick: () => copyText(command, 'the command')})),
            element('p', {class: 'hint'}, 'Events appear here as they arrive.'));
    }
}

export function tellReset(wasRestarted, wasOpen) {
    const what = wasRestarted ? 'The collector was restarted' : 'The collector was cleared';
    toast(wasOpen ? `${what}; the event was closed` : what);
}
