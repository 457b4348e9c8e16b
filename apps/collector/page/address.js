// Keeps the view in the page's address: filters, order and the open event. The address shares a
// view, and the browser's back and forward buttons move between views.

export const filterNames = [
    'words', 'schema', 'good', 'duplicate', 'user', 'tenant', 'context', 'client', 'since', 'until',
];
const sorts = ['number', 'receivedAt', 'actionTs', 'schema', 'sequence'];

function valid(name, value) {
    if (name === 'good' || name === 'duplicate') return value === 'true' || value === 'false';
    if (name === 'since' || name === 'until') return /^-?\d{1,15}$/.test(value);
    return value !== '';
}

function read(search) {
    const parameters = new URLSearchParams(search);
    const filters = {};
    for (const name of filterNames) {
        const value = parameters.get(name);
        if (value !== null && valid(name, value)) filters[name] = value;
    }
    const sort = sorts.includes(parameters.get('sort')) ? parameters.get('sort') : 'number';
    const order = ['ascending', 'descending'].includes(parameters.get('order'))
        ? parameters.get('order') : 'descending';
    const open = /^\d{1,15}$/.test(parameters.get('open') ?? '') ? Number(parameters.get('open')) : null;
    return {filters, sort, order, open};
}

function write({filters, sort, order, open}) {
    const parameters = new URLSearchParams(filters);
    if (sort !== 'number') parameters.set('sort', sort);
    if (order !== 'descending') parameters.set('order', order);
    if (open !== null) parameters.set('open', open);
    return parameters.size > 0 ? `/?${parameters}` : '/';
}

export class Address {
    /// `onChange(view, changed)` is called after each change, from the page or from the browser.
    /// `changed` says which of `rows` (filters or order) and `open` differ.
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

    /// Sets filters; an empty value removes one.
    filter(changes, gesture = null) {
        const filters = {...this.view.filters};
        for (const [name, value] of Object.entries(changes)) {
            const text = String(value ?? '');
            if (valid(name, text)) filters[name] = text;
            else delete filters[name];
        }
        this.go({filters}, gesture);
    }

    #show(next) {
        const before = this.view;
        this.view = next;
        const rows = write({...before, open: null}) !== write({...next, open: null});
        this.onChange(next, {rows, open: before.open !== next.open});
    }
}
