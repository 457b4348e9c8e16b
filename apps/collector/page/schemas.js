// Shows the schemas: what was seen of each property, the messages of bad events, and what the check
// of the schemas finds.

import * as api from './api.js';
import {button, byId, element, openDialog, setChildren, setText} from './dom.js';
import {count, isoTime, plural, pointerText, shortTime, shortened} from './format.js';
import {filterOf, isPath} from './properties.js';

const mostShown = 200;
const longestName = 120;

const badge = (kind, text) => element('span', {class: `badge ${kind}`}, text);
const hint = (text) => element('p', {class: 'hint'}, text);

/// A table whose first column names the rows. A head beginning with "#" is of numbers.
function table(label, heads, rows) {
    const cell = (tag, index, attributes, content) => element(tag,
        {class: heads[index].startsWith('#') ? 'numeric' : null, ...attributes}, ...[content].flat());
    return element('div', {class: 'tableArea'}, element('table', {'aria-label': label},
        element('thead', {}, element('tr', {}, ...heads.map((head, index) =>
            cell('th', index, {scope: 'col'}, head.replace('#', ''))))),
        element('tbody', {}, ...rows.map(({cells, ...attributes}) => element('tr', attributes,
            ...cells.map((content, index) => (index === 0
                ? cell('th', index, {scope: 'row'}, content) : cell('td', index, {}, content))))))));
}

export class Schemas {
    /// `onFilter(filters)` shows the events that match.
    constructor({onFilter}) {
        this.onFilter = onFilter;
        this.state = '';  // of the schemas, as the dialog should show it
        this.chosen = null;  // the schema whose properties are shown
        this.asked = 0;
        this.summary = {eventsBySchema: {}, badBySchema: {}};
        for (const id of ['schemaFindings', 'openSchemas']) {
            byId(id).addEventListener('click', () => {
                openDialog(byId('schemasDialog'));
                this.#choose(null);
            });
        }
        byId('schemasBack').addEventListener('click', () => this.#choose(null));
        byId('schemasAgain').addEventListener('click', () => this.#look());
    }

    showSummary(summary) {
        this.summary = summary;
        const {schemas, started} = summary;
        const {faults, warnings, problems, revision} = schemas;
        const parts = [
            problems > 0 ? `${count(problems)} left out` : '',
            faults > 0 ? plural(faults, 'fault') : '', warnings > 0 ? plural(warnings, 'warning') : '',
        ].filter((part) => part !== '');
        const pill = byId('schemaFindings');
        pill.hidden = parts.length === 0;
        pill.classList.toggle('refused', problems + faults > 0);
        setText(pill, `Schemas: ${parts.join(', ')}`);
        const state = `${started} ${revision}`;
        if (byId('schemasDialog').open && state !== this.state) this.#look();
        this.state = state;
    }

    #choose(schema) {
        this.chosen = schema;
        byId('schemasBack').hidden = schema === null;
        setText(byId('schemasTitle'), schema === null ? 'Schemas' : shortened(schema, longestName));
        setChildren(byId('schemasList'), hint('Loading…'));
        this.#look();
    }

    async #look() {
        const asked = ++this.asked;
        const {chosen} = this;
        let nodes;
        try {
            nodes = chosen === null
                ? this.#overview(...await Promise.all([api.schemas(), api.messages()]))
                : this.#view(await api.properties(chosen));
        } catch (error) {
            nodes = [element('p', {class: 'problem'}, `The schemas cannot be read: ${error.message}`)];
        }
        if (asked === this.asked) setChildren(byId('schemasList'), ...nodes);
    }

    #show(filters) {
        byId('schemasDialog').close();
        this.onFilter(filters);
    }

    #overview(checked, messages) {
        return [...this.#events(checked), ...this.#messages(messages), ...findings(checked)];
    }

    #events({schemas}) {
        const {eventsBySchema: received, badBySchema: bad} = this.summary;
        const names = [...new Set([...schemas.map(({id, version}) => `${id}-${version}`), ...Object.keys(received)])].sort();
        const rows = names.slice(0, mostShown).map((name) => ({cells: [
            button(shortened(name, longestName), {class: 'filterBy', title: 'Show what was seen of its properties',
                onclick: () => this.#choose(name)}),
            count(Object.hasOwn(received, name) ? received[name] : 0),
            count(Object.hasOwn(bad, name) ? bad[name] : 0)]}));
        return [table('Events by schema', ['Schema', '#Events', '#Bad'], rows),
            names.length > mostShown ? hint(`and ${plural(names.length - mostShown, 'more schema', 'more schemas')}`) : null];
    }

    #messages({bad, examined, groups, more}) {
        if (groups.length === 0) return [];
        const rows = groups.slice(0, mostShown).map(({schema, message, count: events, latest, paths, cut}) => {
            const filters = {schema, good: 'false', ...(cut ? {} : {message})};
            return {cells: [
                [button(shortened(message, 300), {class: 'filterBy',
                    title: cut ? 'Show the bad events of this schema' : 'Show the events with this message',
                    onclick: () => this.#show(filters)}),
                element('div', {class: 'hint'}, shortened(paths.map(pointerText).join(', '), 200))],
                element('code', {}, shortened(schema, longestName)), count(events),
                element('time', {datetime: isoTime(latest), title: isoTime(latest)}, shortTime(latest))]};
        });
        const isPart = more || groups.length > mostShown;
        return [element('h3', {}, 'Bad events by message'),
            hint((examined < bad ? `Of the latest ${count(examined)} of ${plural(bad, 'bad event')}.` : `Of all ${plural(bad, 'bad event')}.`) +
                (isPart ? ' There are more messages than are listed.' : '')),
            table('Bad events by message', ['Message', 'Schema', '#Events', '#Latest'], rows)];
    }

    #view({schema, described, received, examined, properties, more}) {
        const share = (present) => (examined === 0 ? '' : `${Math.round((present / examined) * 1000) / 10} %`);
        const value = (path, isNamed, {value: text, type, count: times, cut}) => {
            const name = `${type === 'string' ? JSON.stringify(text) : text}${cut ? '…' : ''}`;
            const label = shortened(name, 80);
            return element('div', {}, isNamed && !cut
                ? button(label, {class: 'filterBy', title: 'Show the events with this value',
                    onclick: () => this.#show({schema, [filterOf(path)]: text})})
                : element('code', {}, label), ` ${count(times)}×`);
        };
        const rows = properties.map(({path, declared, required, present, types, values, otherValues, unnamed}) => {
            const isNeverSent = present === 0 && examined > 0;
            const marks = [isNeverSent ? badge('duplicate', 'never sent') : null,
                described && !declared ? badge('duplicate', 'not in the schema') : null,
                required ? element('span', {class: 'hint'}, 'required') : null];
            return {class: isNeverSent ? 'neverSent' : null, cells: [
                [element('code', {}, shortened(path, 300)), ...marks.flatMap((mark) => (mark === null ? [] : [' ', mark]))],
                share(present),
                Object.entries(types).map(([type, times]) => `${type} ${count(times)}×`).join(', '),
                [...values.map((each) => value(path, !unnamed && isPath(path), each)),
                    otherValues > 0 ? element('div', {class: 'hint'}, `others ${count(otherValues)}×`) : null]]};
        });
        return [
            hint(examined === 0 ? 'No event of this schema is stored.'
                : `${examined < received ? `The latest ${count(examined)} of ${plural(received, 'event')}` : `All ${plural(received, 'event')}`}; ` +
                    'at most the latest 10,000, or 16 MiB, are looked at.'),
            described ? null : hint('The schema does not tell its properties.'),
            element('p', {}, button('Show its events', {onclick: () => this.#show({schema})})),
            properties.length === 0 ? element('p', {}, 'No properties.')
                : table('Properties', ['Property', '#Present', 'Types', 'Most frequent values'], rows),
            more ? hint('There are more properties than are listed, or deeper ones.') : null];
    }
}

function findings({schemas, problems}) {
    const all = schemas.flatMap(({id, version, path, findings: found}) =>
        found.map((finding) => ({...finding, schema: `${id}-${version}`, path})));
    const isFault = ({severity}) => severity === 'fault';
    const sorted = [...all.filter(isFault), ...all.filter((finding) => !isFault(finding))];
    return [element('h3', {}, 'Check of the schemas'),
        hint('What the check finds when a schema is read. Schemas with faults are served all the same; ' +
            'zentara-schemas check finds the same on the command line.'),
        all.length + problems.length === 0 ? element('p', {}, 'The check finds nothing.') : null,
        ...problems.map((problem) => element('article', {class: 'finding bad'},
            element('p', {}, badge('bad', 'left out'), ' ', shortened(problem, 2000)))),
        ...sorted.slice(0, mostShown).map((finding) => element('article', {class: isFault(finding) ? 'finding bad' : 'finding'},
            element('p', {}, badge(isFault(finding) ? 'bad' : 'duplicate', finding.rule),
                ' ', element('strong', {}, shortened(finding.schema, longestName)), ' ',
                element('code', {class: 'hint', title: finding.path},
                    shortened(`${finding.pointer} ${finding.line}:${finding.column}`.trim(), 300))),
            element('p', {}, shortened(finding.reason, 2000)),
            hint(shortened(finding.advice, 2000)))),
        sorted.length > mostShown ? hint(`and ${sorted.length - mostShown} more`) : null];
}
