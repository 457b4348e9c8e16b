// The filter fields, the chips of the active filters, and the counts, which filter when clicked.

import {button, byId, element, icon, setText, toast} from './dom.js';
import {count, fullTime, isoTime, localInput, shortened} from './format.js';
import {isPath, pathOf, readProperty} from './properties.js';

const mostSchemas = 500;
const typingPause = 200;  // ms

const textFields = {
    words: 'filterText', user: 'filterUser', tenant: 'filterTenant', context: 'filterContext',
    client: 'filterClient',
};
const timeFields = {since: 'filterSince', until: 'filterUntil'};

function chipText(name, value) {
    if (name === 'good') return value === 'true' ? 'good only' : 'bad only';
    if (name === 'duplicate') return value === 'true' ? 'duplicates only' : 'no duplicates';
    if (name === 'since') return `from ${fullTime(value)}`;
    if (name === 'until') return `until before ${fullTime(value)}`;
    if (name === 'words') return `“${shortened(value, 60)}”`;
    const path = pathOf(name);
    if (path !== null) return `${shortened(path, 60)} = ${shortened(value, 60)}`;
    return `${name} ${shortened(value, 60)}`;
}

export class Filters {
    constructor({address, onGaps}) {
        this.address = address;
        const set = (name, value, gesture) => address.filter({[name]: value}, gesture);
        for (const [name, id] of Object.entries(textFields)) {
            let timer = 0;
            const take = () => {
                clearTimeout(timer);
                set(name, byId(id).value.trim(), `type ${name}`);
            };
            byId(id).addEventListener('input', () => {
                clearTimeout(timer);
                timer = setTimeout(take, typingPause);
            });
            byId(id).addEventListener('change', take);
        }
        for (const [name, id] of Object.entries(timeFields)) {
            byId(id).addEventListener('change', ({target}) => {
                const time = new Date(target.value).getTime();
                set(name, Number.isNaN(time) ? '' : time);
            });
        }
        this.#entry('filterProperty', 'A property is entered as path=value', (text) => {
            const property = readProperty(text);
            if (property) address.filterProperty(property.path, property.value);
            return property !== null;
        });
        this.#entry('addColumn', 'A column is the path of a property, and there are at most 8',
            (text) => isPath(text) && address.showColumn(text));
        byId('filterSchema').addEventListener('change', ({target}) => set('schema', target.value));
        byId('filterGood').addEventListener('change', ({target}) => set('good', target.value));
        byId('filterDuplicate').addEventListener('change', ({target}) =>
            set('duplicate', target.checked ? 'true' : ''));
        byId('sort').addEventListener('change', ({target}) => {
            const [sort, order] = target.value.split(' ');
            address.go({sort, order});
        });
        byId('toggleMore').addEventListener('click', () => this.#showMore(byId('moreFilters').hidden));
        const tiles = {
            events: () => address.filter({good: '', duplicate: ''}),
            good: () => set('good', address.view.filters.good === 'true' ? '' : 'true'),
            bad: () => set('good', address.view.filters.good === 'false' ? '' : 'false'),
            duplicates: () => set('duplicate', address.view.filters.duplicate === 'true' ? '' : 'true'),
            missing: onGaps,
        };
        for (const tile of document.querySelectorAll('[data-tile]')) {
            tile.addEventListener('click', tiles[tile.dataset.tile]);
        }
        const {filters, columns} = address.view;
        if (columns.length > 0 || Object.keys(filters).some((name) => pathOf(name) !== null) ||
            ['user', 'tenant', 'context', 'client', 'since', 'until'].some((name) => filters[name])) {
            this.#showMore(true);
        }
    }

    /// A field that is emptied once `take` has accepted its text.
    #entry(id, rule, take) {
        byId(id).addEventListener('change', ({target}) => {
            const text = target.value.trim();
            if (text === '' || take(text)) target.value = '';
            else toast(rule);
        });
    }

    clear() {
        this.address.go({filters: {}});
    }

    sortBy(name) {
        const {sort, order} = this.address.view;
        const first = name === 'schema' || name === 'sequence' ? 'ascending' : 'descending';
        const other = first === 'ascending' ? 'descending' : 'ascending';
        this.address.go({sort: name, order: sort === name && order === first ? other : first});
    }

    show({filters, sort, order, columns}) {
        for (const [name, id] of Object.entries(textFields)) {
            const field = byId(id);
            if (field.value.trim() !== (filters[name] ?? '')) field.value = filters[name] ?? '';
        }
        for (const [name, id] of Object.entries(timeFields)) {
            byId(id).value = filters[name] ? localInput(filters[name]) : '';
        }
        this.#chooseSchema(filters.schema ?? '');
        byId('filterGood').value = filters.good ?? '';
        byId('filterDuplicate').checked = filters.duplicate === 'true';
        byId('sort').value = `${sort} ${order}`;
        for (const head of document.querySelectorAll('[data-sort]')) {
            const isSorted = head.dataset.sort === sort;
            head.parentElement.setAttribute('aria-sort', isSorted ? order : 'none');
        }
        const pressed = {
            good: filters.good === 'true', bad: filters.good === 'false', duplicates: filters.duplicate === 'true',
        };
        for (const [name, isOn] of Object.entries(pressed)) {
            document.querySelector(`[data-tile=${name}]`).setAttribute('aria-pressed', String(isOn));
        }
        this.#chips(filters, columns);
    }

    /// Updates the counts and the list of schemas.
    showSummary(summary) {
        setText(byId('countEvents'), count(summary.events));
        setText(byId('countGood'), count(summary.good));
        setText(byId('countBad'), count(summary.bad));
        setText(byId('countDuplicates'), count(summary.duplicates));
        setText(byId('countMissing'), count(summary.missing));
        for (const [name, number] of Object.entries({
            bad: summary.bad, duplicates: summary.duplicates, missing: summary.missing,
        })) {
            document.querySelector(`[data-tile=${name}]`).classList.toggle('some', number > 0);
        }
        const select = byId('filterSchema');
        const names = Object.keys(summary.eventsBySchema).sort().slice(0, mostSchemas);
        const options = names.map((name) => [name, `${shortened(name, 60)} (${count(summary.eventsBySchema[name])})`]);
        if (document.activeElement === select && names.length < select.options.length) return;
        const key = JSON.stringify(options);
        if (key === this.schemaKey) return;
        this.schemaKey = key;
        select.replaceChildren(element('option', {value: ''}, 'All schemas'),
            ...options.map(([value, text]) => element('option', {value}, text)));
        this.#chooseSchema(this.address.view.filters.schema ?? '');
    }

    #chooseSchema(name) {
        const select = byId('filterSchema');
        select.value = name;
        if (select.value === name) return;
        select.append(element('option', {value: name}, shortened(name, 60)));
        select.value = name;
    }

    #showMore(open) {
        byId('moreFilters').hidden = !open;
        byId('filters').classList.toggle('open', open);
        byId('toggleMore').setAttribute('aria-expanded', String(open));
    }

    #chips(filters, columns) {
        const chips = Object.entries(filters).map(([name, value]) => {
            const text = chipText(name, value);
            const isTime = name === 'since' || name === 'until';
            return button(text, {
                class: 'chip', 'aria-label': `Remove filter: ${text}`, title: isTime ? isoTime(value) : null,
                onclick: () => this.address.filter({[name]: null}),
            }, icon('iconClose'));
        });
        if (chips.length > 1) chips.push(button('Remove all', {class: 'quiet', onclick: () => this.clear()}));
        chips.push(...columns.map((path) => button(`column ${shortened(path, 60)}`, {
            class: 'chip', 'aria-label': `Remove column: ${shortened(path, 60)}`,
            onclick: () => this.address.hideColumn(path),
        }, icon('iconClose'))));
        byId('chips').replaceChildren(...chips);
        byId('chips').hidden = chips.length === 0;
        byId('toggleMore').classList.toggle('some', chips.length > 0);
    }
}
