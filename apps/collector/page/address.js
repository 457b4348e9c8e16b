// Keeps the view in the page's address: filters, order, columns and the open event. The
// address shares a view, and the browser's back and forward buttons move between views.

import {filterOf, isPath, pathOf} from './properties.js';

export const filterNames = [
    'words', 'schema', 'message', 'good', 'duplicate', 'user', 'tenant', 'context', 'client', 'since', 'until',
];
const mostColumns = 8;
const sorts = ['number', 'receivedAt', 'actionTs', 'schema', 'sequence'];

function valid(name, value) {
    if (name === 'good' || name === 'duplicate') return value === 'true' || value === 'false';
    if (name === 'since' || name === 'until') return /^-?\d{1,15}$/.test(value);
    const path = pathOf(name);
    return path === null ? value !== '' : isPath(path);
}

function read(search) {
    const parameters = new URLSearchParams(search);
    const filters = {};
    const properties = [...parameters.keys()].filter((name) => pathOf(name) !== null);
    for (const name of [...filterNames, ...properties]) {
        const value = parameters.get(name);
        if (value !== null && valid(name, value)) filters[name] = value;
    }
    const sort = sorts.includes(parameters.get('sort')) ? parameters.get('sort') : 'number';
    const order = ['ascending', 'descending'].includes(parameters.get('order'))
        ? parameters.get('order') : 'descending';
    const open = /^\d{1,15}$/.test(parameters.get('open') ?? '') ? Number(parameters.get('open')) : null;
    const columns = [...new Set(parameters.getAll('column').filter(isPath))].slice(0, mostColumns);
    return {filters, sort, order, columns, open};
}

function write({filters, sort, order, columns, open}) {
    const parameters = new URLSearchParams(filters);
    for (const path of columns) parameters.append('column', path);
    if (sort !== 'number') parameters.set('sort', sort);
    if (order !== 'descending') parameters.set('order', order);
    if (open !== null) parameters.set('open', open);
    return parameters.size > 0 ? `/?${parameters}` : '/';
}

export class Address {
    /// `onChange(view, changed)` is called after each change, from the page or from the browser.
    /// `changed` says which of `rows` (filters or order), `columns` and `open` differ.
    constructor(onChange) {
        this.onChange = onChange;
        this.view = read(location.search);
        this.gesture = null;
        addEventListener('popstate', () => {
            this.gesture = null;
            this.#show(read(location.search));
        });
    }

    /// Applies `changes` to the view. Successive changes of one `gesture` (typing, moving through
    /// rows) are one step of the browser's history.
    go(changes, gesture = null) {
        const next = {...this.view, ...changes};
        if (write(next) === write(this.view)) return;
        const replaces = gesture !== null && gesture === this.gesture;
        this.gesture = gesture;
        history[replaces ? 'replaceState' : 'pushState'](null, '', write(next));
        this.#show(next);
    }

    /// Sets filters; null removes one, as does an empty value other than a property's.
    filter(changes, gesture = null) {
        const filters = {...this.view.filters};
        for (const [name, value] of Object.entries(changes)) {
            const text = String(value ?? '');
            if (value !== null && valid(name, text)) filters[name] = text;
            else delete filters[name];
        }
        this.go({filters}, gesture);
    }

    filterProperty(path, value) {
        this.filter({[filterOf(path)]: value});
    }

    /// False if there is no room for another column.
    showColumn(path) {
        const {columns} = this.view;
        if (columns.includes(path)) return true;
        if (columns.length >= mostColumns) return false;
        this.go({columns: [...columns, path]});
        return true;
    }

    hideColumn(path) {
        this.go({columns: this.view.columns.filter((each) => each !== path)});
    }

    #show(next) {
        const before = this.view;
        this.view = next;
        const differ = (part) => write({...next, ...part(before)}) !== write(next);
        this.onChange(next, {
            rows: differ(({filters, sort, order}) => ({filters, sort, order})),
            columns: differ(({columns}) => ({columns})), open: before.open !== next.open,
        });
    }
}
