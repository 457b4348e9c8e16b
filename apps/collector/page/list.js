// Makes elements only for the rows on screen and a few more: a list of any length takes a few dozen
// elements.

import {numberText} from './api.js';
import {byId, element, icon, setChildren, setText} from './dom.js';
import {count, isoTime, plural, shortTime, shortened} from './format.js';
import {brief, detailParts} from './preview.js';
import {valueAt} from './properties.js';

const overscan = 8;
const mostHeight = 15_000_000;  // px; browsers do not lay out much more

const columnNames = ['state', 'number', 'time', 'schema', 'detail', 'user', 'sequence'];

export class List {
    /// `onOpen(number)` is called to open a row, `onMove(event)` when another row becomes active.
    constructor({rows, onOpen, onMove, onSort}) {
        this.rows = rows;
        this.onMove = onMove;
        this.list = byId('list');
        this.area = byId('rows');
        this.elements = new Map();  // by index
        this.spare = [];
        this.active = null;  // {rank, number}
        this.openNumber = null;
        this.columns = [];  // paths of properties
        this.unseen = 0;
        this.list.addEventListener('scroll', () => this.draw(), {passive: true});
        this.list.addEventListener('click', (click) => {
            const sort = click.target.closest('[data-sort]')?.dataset.sort;
            if (sort) onSort(sort);
            const row = click.target.closest('.rows > .row');
            if (!row?.shown?.event) return;
            this.#setActive(row.shown.rank);
            onOpen(row.shown.event.number);
        });
        byId('jump').addEventListener('click', () => {
            this.list.scrollTop = 0;
            this.list.focus({preventScroll: true});
        });
        new ResizeObserver(() => {
            this.#measure();
            this.draw();
        }).observe(this.list);
        this.#measure();
    }

    /// The number of rows that scrolling can reach.
    get shownTotal() {
        return Math.min(this.rows.total, Math.floor(mostHeight / this.rowHeight));
    }

    wantedRange() {
        const [first, last] = this.#indices();
        const ends = [this.rows.rankOf(first), this.rows.rankOf(last)];
        return [Math.max(0, Math.min(...ends)), Math.max(...ends)];
    }

    update({arrived, reloaded}) {
        if (reloaded) {
            this.unseen = 0;
            this.#findActive();
        }
        const isAway = this.list.scrollTop > this.rowHeight / 2;
        this.#stretch();
        if (arrived > 0 && isAway && this.rows.isReversed) {
            // The visible rows keep their place.
            this.list.scrollTop += arrived * this.rowHeight;
            this.unseen += arrived;
        }
        this.draw();
    }

    toTop() {
        this.list.scrollTop = 0;
    }

    setOpen(number) {
        this.openNumber = number;
        this.draw();
    }

    /// Shows these properties before the rest of the event.
    setColumns(paths) {
        this.columns = paths;
        this.list.style.setProperty('--propertyColumns', 'minmax(0, 0.5fr) '.repeat(paths.length));
        for (const head of this.list.querySelectorAll('.listHead .property')) head.remove();
        this.list.querySelector('.listHead .detail').before(...paths.map((path) => element('span',
            {class: 'property', role: 'columnheader', title: shortened(path, 200)}, shortened(path, 60))));
        this.#dropRows();
        this.draw();
    }

    /// Makes another row active; `by` may point beyond the ends.
    move(by) {
        if (this.rows.total === 0) return;
        const last = this.shownTotal - 1;
        const from = this.active ? this.rows.indexOf(this.active.rank) : this.#topIndex() - Math.sign(by);
        this.moveTo(Math.min(last, Math.max(0, from + by)));
    }

    moveTo(index) {
        this.#setActive(this.rows.rankOf(index));
        const top = index * this.rowHeight;
        const room = this.list.clientHeight - this.headHeight - this.rowHeight;
        if (top < this.list.scrollTop) this.list.scrollTop = top;
        else if (top > this.list.scrollTop + room) this.list.scrollTop = top - room;
        this.draw();
        this.onMove(this.rows.at(index));
    }

    /// Makes the row of this rank active without opening it.
    point(rank) {
        this.#setActive(rank);
        this.draw();
    }

    get activeEvent() { return this.active ? this.rows.held.get(this.active.rank) : undefined; }
    get activeIndex() { return this.active ? this.rows.indexOf(this.active.rank) : -1; }
    get pageLength() { return Math.max(1, Math.floor(this.list.clientHeight / this.rowHeight) - 2); }

    draw() {
        if (this.drawing) return;
        this.drawing = true;
        requestAnimationFrame(() => {
            this.drawing = false;
            this.#draw();
        });
    }

    #draw() {
        const [first, last] = this.#indices();
        for (const [index, row] of this.elements) {
            if (index >= first && index <= last) continue;
            this.elements.delete(index);
            row.remove();
            this.spare.push(row);
        }
        for (let index = first; index <= last; index += 1) {
            let row = this.elements.get(index);
            if (!row) {
                row = this.spare.pop() ?? makeRow(this.columns);
                row.style.transform = `translateY(${index * this.rowHeight}px)`;
                row.setAttribute('aria-rowindex', index + 2);
                this.elements.set(index, row);
                this.area.append(row);
            }
            const event = this.rows.at(index);
            if (row.shown?.event !== event || !event) fillRow(row, event);
            row.shown = {event, rank: this.rows.rankOf(index)};
            const isActive = this.active?.rank === row.shown.rank;
            row.classList.toggle('active', isActive);
            row.setAttribute('aria-selected', String(event !== undefined && event.number === this.openNumber));
            if (isActive && event) this.list.setAttribute('aria-activedescendant', row.id);
        }
        this.spare.length = Math.min(this.spare.length, 50);
        if (!this.active) this.list.removeAttribute('aria-activedescendant');
        this.list.setAttribute('aria-rowcount', this.rows.total + 1);
        if (this.list.scrollTop <= this.rowHeight / 2) this.unseen = 0;
        const jump = byId('jump');
        jump.hidden = this.unseen === 0;
        if (this.unseen > 0) jump.replaceChildren(icon('iconUp'), `${count(this.unseen)} new`);
        this.rows.need();
    }

    #indices() {
        const room = Math.max(0, this.list.clientHeight - this.headHeight);
        const first = Math.max(0, this.#topIndex() - overscan);
        const last = Math.ceil((this.list.scrollTop + room) / this.rowHeight) + overscan;
        return [first, Math.min(this.shownTotal - 1, last)];
    }

    #topIndex() { return Math.floor(this.list.scrollTop / this.rowHeight); }

    #stretch() {
        this.area.style.height = `${this.shownTotal * this.rowHeight}px`;
    }

    #measure() {
        const row = this.spare.at(-1) ?? makeRow(this.columns);
        this.area.append(row);
        const height = row.offsetHeight || 34;
        row.remove();
        this.headHeight = this.list.querySelector('.listHead').offsetHeight;
        if (height === this.rowHeight) return;
        this.rowHeight = height;
        this.#dropRows();
        this.#stretch();
    }

    #dropRows() {
        for (const old of this.elements.values()) old.remove();
        this.elements.clear();
        this.spare = [];
    }

    #setActive(rank) {
        this.active = {rank, number: this.rows.held.get(rank)?.number ?? null};
    }

    /// A reload may have changed the rank of the active event.
    #findActive() {
        if (!this.active) return;
        const found = [...this.rows.held].find(([, event]) => event.number === this.active.number);
        this.active = found ? {rank: found[0], number: this.active.number} : null;
    }
}

const makeCell = (name) => element('span', {class: name, role: 'gridcell'});

function makeRow(paths) {
    const row = element('div', {class: 'row', role: 'row'});
    row.cells = Object.fromEntries(columnNames.map((name) => [name, makeCell(name)]));
    row.append(...Object.values(row.cells));
    row.properties = paths.map((path) => ({path, cell: makeCell('property')}));
    row.cells.detail.before(...row.properties.map(({cell}) => cell));
    return row;
}

function fillRow(row, event) {
    const {state, number, time, schema, detail, user, sequence} = row.cells;
    row.classList.toggle('waiting', !event);
    row.classList.toggle('bad', event?.good === false);
    if (!event) {
        for (const cell of row.children) cell.replaceChildren();
        row.removeAttribute('id');
        return;
    }
    row.id = `row${event.number}`;
    state.replaceChildren(
        icon(event.good ? 'iconGood' : 'iconBad'),
        element('span', {class: 'visuallyHidden'},
            event.good ? 'good' : `bad, ${plural(event.messages.length, 'message')}`));
    number.textContent = count(event.number);
    time.textContent = shortTime(event.receivedAt);
    time.title = isoTime(event.receivedAt);
    setText(schema, shortened(event.schema, 80));
    schema.title = schema.textContent;
    for (const {path, cell} of row.properties) {
        const value = valueAt(event, path);
        setText(cell, value === undefined ? '—' : brief(value));
        cell.title = cell.textContent;
    }
    setChildren(detail, ...detailParts(event));
    setText(user, event.user ? shortened(`${event.user.type} ${event.user.token}`, 80) : '');
    sequence.textContent = numberText(event.sequence);
}
