// The side panel: one event with its messages, its envelope and its request.

import * as api from './api.js';
import {button, byId, copyText, element, icon, setText, toast} from './dom.js';
import {count, isoTime, plural, pointerText, shortTime, shortened} from './format.js';
import {jsonTree, text} from './json.js';
import {messageParts} from './messages.js';
import {filterText, leafPaths, valueAt} from './properties.js';
import {curlCommand, trackLine} from './replay.js';

const tabNames = {event: 'Event', envelope: 'Envelope', request: 'Request'};
const mostMessages = 100;
const longestValue = 1000;  // characters; it must fit into an address
const noteId = (index) => `note${index}`;
const pretty = (value) => JSON.stringify(value, null, 2);

const time = (milliseconds) => element('time', {
    datetime: isoTime(milliseconds), title: isoTime(milliseconds),
}, shortTime(milliseconds));

export class Panel {
    /// `find(number)` gives the event or null. The panel's buttons call `onFilter(changes)`,
    /// `onProperty(path, value)`, `onColumn(path)`, `onClose()`, `onStep(by)` and `onOpen(number)`.
    constructor({find, onFilter, onProperty, onColumn, onClose, onStep, onOpen}) {
        Object.assign(this, {find, onFilter, onProperty, onColumn, onClose, onStep, onOpen});
        this.panel = byId('panel');
        this.tab = 'event';
        this.property = '';  // the path that was chosen last
        this.number = null;
    }

    get isOpen() { return this.number !== null; }

    close() {
        this.number = null;
        this.abort?.abort();
        this.panel.hidden = true;
        this.panel.replaceChildren();
    }

    async open(number) {
        this.number = number;
        this.abort?.abort();
        const abort = new AbortController();
        this.abort = abort;
        this.details = null;
        let event = null;
        let problem = 'It may have been cleared.';
        try {
            event = await this.find(number, abort.signal);
        } catch (error) {
            problem = error.message;
        }
        if (abort.signal.aborted) return;
        this.event = event;
        this.panel.hidden = false;
        if (!event) {
            this.panel.replaceChildren(this.#head(`Event ${count(number)}`, []),
                element('p', {class: 'problem'}, `There is no event ${count(number)}. ${problem}`));
            return;
        }
        this.#draw();
        setText(byId('announcement'), `Event ${number}, ${shortened(event.schema, 80)}, ` +
            (event.good ? 'good' : `bad, ${plural(event.messages.length, 'message')}`));
        const details = await readDetails(event, abort.signal);
        if (abort.signal.aborted) return;
        this.details = details;
        this.#drawArrivals();
        this.#drawTab();
    }

    focus() {
        this.panel.querySelector('h2')?.focus();
    }

    #head(title, badges) {
        const act = (name, label, keys, action) => element('button', {
            type: 'button', class: 'quiet', 'aria-label': label, title: `${label} (${keys})`, onclick: action,
        }, icon(name));
        return element('header', {class: 'panelHead'},
            element('h2', {tabindex: -1}, title), ...badges,
            element('span', {class: 'panelActions'},
                act('iconUp', 'Event above', 'k', () => this.onStep(-1)),
                act('iconDown', 'Event below', 'j', () => this.onStep(1)),
                act('iconClose', 'Close', 'Esc', () => this.onClose())));
    }

    #draw() {
        const {event} = this;
        const badges = [element('span', {class: `badge ${event.good ? 'good' : 'bad'}`},
            icon(event.good ? 'iconGood' : 'iconBad'), event.good ? 'good' : 'bad')];
        if (event.duplicate) badges.push(element('span', {class: 'badge duplicate'}, 'duplicate'));
        this.arrivals = element('p', {class: 'arrivals', hidden: true});
        this.tabs = element('div', {
            class: 'tabs', role: 'tablist', 'aria-label': 'Parts', onkeydown: (key) => this.#tabKey(key),
        });
        this.tabPanel = element('div', {class: 'tabPanel', role: 'tabpanel', id: 'tabPanel', tabindex: 0});
        const body = element('div', {class: 'panelBody'}, this.arrivals, this.#messages(), this.#facts(),
            this.#copies(), this.#properties(), this.tabs, this.tabPanel);
        // A button of the panel that moves through events keeps the focus.
        const focused = this.panel.contains(document.activeElement)
            ? document.activeElement.getAttribute('aria-label') ?? '' : null;
        this.panel.replaceChildren(this.#head(shortened(event.schema, 80), badges), body);
        if (focused !== null) {
            const same = this.panel.querySelector(`[aria-label="${CSS.escape(focused)}"]`);
            (same ?? this.panel.querySelector('h2')).focus();
        }
        for (const [name, label] of Object.entries(tabNames)) {
            this.tabs.append(button(label, {
                role: 'tab', id: `tab-${name}`, 'aria-controls': 'tabPanel', onclick: () => this.#choose(name),
            }));
        }
        this.#drawTab();
    }

    #messages() {
        const {event} = this;
        if (event.good) return null;
        const items = event.messages.slice(0, mostMessages).map((message, index) => element('li', {}, button('', {
            title: 'Show the property', onclick: () => this.#showNote(index),
        }, element('span', {class: 'messagePath'}, shortened(pointerText(message.path) || 'properties', 200)),
            ' ', ...messageParts(message, event))));
        return element('section', {class: 'messages', 'aria-label': 'Messages'},
            element('h3', {}, event.messages.length > 0
                ? plural(event.messages.length, 'problem') : 'Not valid, without a message'),
            element('ul', {}, ...items, items.length < event.messages.length
                ? element('li', {class: 'hint'}, `${count(event.messages.length - items.length)} more`) : null));
    }

    #facts() {
        const {event} = this;
        const filter = (name, value, shown = value) => (value === '' ? '—' : button(shortened(String(shown), 200), {
            class: 'filterBy', title: `Show only this ${name}`, onclick: () => this.onFilter({[name]: value}),
        }));
        const user = event.user && `${event.user.type}=${event.user.token}`;
        const short = [
            ['Number', `${count(event.number)}, envelope ${count(event.envelope)}`],
            ['Sequence', `${api.numberText(event.sequence)}, dispatch ${api.numberText(event.dispatchNumber)}`],
            ['Received', time(event.receivedAt)],
            ['Happened', time(event.event.actionTs)],
            ['Schema', filter('schema', event.schema)],
            ['Tenant', filter('tenant', event.tenant)],
        ];
        const long = [
            ['User', user ? filter('user', user, `${event.user.type} ${event.user.token}`) : '—'],
            ['Client', filter('client', event.clientUUID)],
            ['Context', filter('context', event.event.zentaraClientContextID)],
            ['Action UUID', element('code', {}, shortened(event.actionUUID, 200))],
            ['Address', text(event.event.url || '—', 'address', {portion: 120, form: String})],
        ];
        const list = (facts, name) => element('dl', {class: name}, ...facts.map(([label, value]) =>
            element('div', {}, element('dt', {}, label), element('dd', {}, value))));
        return element('section', {class: 'facts', 'aria-label': 'Facts'},
            list(short, 'short'), list(long, 'long'));
    }

    #copies() {
        const {event} = this;
        const parameters = {after: event.number - 1, limit: 1};
        const query = `${location.origin}${api.target('/received/events', parameters)}`;
        const copies = [
            ['Event', 'the event', () => pretty(event.event)],
            ['Envelope', 'the envelope', () => this.details?.envelope && pretty(this.details.envelope.envelope)],
            ['Request', 'the request', () => this.details?.request && pretty(this.details.request)],
            ['UUID', 'the action UUID', () => event.actionUUID],
            ['curl', 'the command', () => `curl '${query}'`],
        ];
        const replays = [
            ['curl POST', 'the command that posts it again', () => this.details?.envelope &&
                curlCommand(event, this.details.envelope.envelope, location.origin)],
            ['zentara-track', 'the line for zentara-track', () => trackLine(event.event)],
        ];
        const group = (label, all) => element('div', {class: 'copies', role: 'group', 'aria-label': label},
            icon('iconCopy'), element('span', {class: 'copyLabel'}, label), ...all.map(copyButton));
        return element('div', {}, group('Copy', copies), group('To send again', replays));
    }

    /// Shows a property as a column, or only events with its value.
    #properties() {
        const {event} = this;
        const paths = leafPaths(event);
        if (paths.length === 0) return null;
        const choice = element('select', {
            'aria-label': 'Property', onchange: () => { this.property = choice.value; },
        }, ...paths.map((path) => element('option', {value: path}, shortened(path, 60))));
        if (paths.includes(this.property)) choice.value = this.property;
        return element('div', {class: 'copies', role: 'group', 'aria-label': 'Property'},
            element('span', {class: 'copyLabel'}, 'Property'), choice,
            button('Column', {
                'aria-label': 'Show the property as a column', onclick: () => {
                    if (!this.onColumn(choice.value)) toast('There is no room for another column');
                },
            }),
            button('Only this value', {
                'aria-label': 'Show only events with this value',
                onclick: () => {
                    const value = filterText(valueAt(event, choice.value));
                    if (value.length <= longestValue) this.onProperty(choice.value, value);
                    else toast('The value is too long for a filter');
                },
            }));
    }

    #drawArrivals() {
        const {arrivals} = this.details;
        if (arrivals.length < 2) return;
        const shown = arrivals.slice(0, 20).map((number) => button(`${count(number)}`, {
            class: 'filterBy', onclick: () => this.onOpen(number),
            'aria-current': number === this.number ? 'true' : null,
        }));
        this.arrivals.replaceChildren(`This action arrived ${count(arrivals.length)} times: `,
            ...shown.flatMap((node) => [node, ' ']), arrivals.length > shown.length ? '…' : '');
        this.arrivals.hidden = false;
    }

    #choose(name) {
        this.tab = name;
        this.#drawTab();
    }

    #tabKey(key) {
        const names = Object.keys(tabNames);
        const by = {ArrowLeft: -1, ArrowRight: 1}[key.key];
        if (!by) return;
        key.preventDefault();
        this.#choose(names[(names.indexOf(this.tab) + by + names.length) % names.length]);
        byId(`tab-${this.tab}`).focus();
    }

    #drawTab() {
        for (const name of Object.keys(tabNames)) {
            const tab = byId(`tab-${name}`);
            tab.setAttribute('aria-selected', String(name === this.tab));
            tab.tabIndex = name === this.tab ? 0 : -1;
        }
        this.tabPanel.setAttribute('aria-labelledby', `tab-${this.tab}`);
        if (this.tab === 'event') {
            if (this.drawn === this.event && this.tabPanel.dataset.tab === 'event') return;
            this.drawn = this.event;
            const notes = this.event.messages.slice(0, mostMessages).map((message, index) => ({
                pointer: `/properties${message.path}`, parts: messageParts(message, this.event), id: noteId(index),
            }));
            this.tabPanel.replaceChildren(jsonTree(this.event.event, {notes, opened: 4}));
        } else if (!this.details) {
            this.tabPanel.replaceChildren(element('p', {class: 'hint'}, 'Loading…'));
        } else if (this.details.problem) {
            this.tabPanel.replaceChildren(element('p', {class: 'problem'}, this.details.problem));
        } else {
            const {envelope, request} = this.details;
            this.tabPanel.replaceChildren(jsonTree(this.tab === 'envelope' ? envelope.envelope : request, {opened: 2}));
        }
        this.tabPanel.dataset.tab = this.tab;
    }

    #showNote(index) {
        this.#choose('event');
        const note = byId(noteId(index));
        if (!note) return;
        note.scrollIntoView({block: 'center'});
        note.classList.remove('flash');
        requestAnimationFrame(() => note.classList.add('flash'));
    }
}

/// `make()` gives the text, or nothing while it is unknown.
const copyButton = ([label, what, make]) => button(label, {
    'aria-label': `Copy ${what}`, onclick: () => {
        const text = make();
        if (text) copyText(text, what);
    },
});

/// The envelope and the request of an event, and the numbers of all its arrivals. The query by action
/// answers for the first arrival. A later arrival has its own envelope, and of its request only what
/// the envelope holds.
async function readDetails(event, signal) {
    try {
        const first = await api.eventByUUID(event.actionUUID, signal).catch((error) => {
            if (error.status === undefined) throw error;
            return null;
        });
        if (first?.event?.number === event.number) {
            return {envelope: first.envelope, request: first.request, arrivals: first.arrivals};
        }
        const page = await api.envelopes({offset: event.envelope - 1, limit: 1}, signal);
        const envelope = page.envelopes[0];
        const {receivedAt, headers} = envelope;
        return {envelope, request: {receivedAt, headers}, arrivals: first?.arrivals ?? []};
    } catch (error) {
        return {problem: `The envelope cannot be read: ${error.message}`, arrivals: []};
    }
}
