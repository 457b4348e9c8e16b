// The events of the view that were shown so far: a window into the collector's list, not a copy.
//
// A place in the list is a rank, counted in the order of the collector's answer. Sorted by number,
// ranks never change, because events arrive at one end only: new events are requested with "after",
// and the rows held so far stay. In any other order an arrival can move every row, so all rows that
// are held are requested again.

import * as api from './api.js';

const blockSize = 100;
const mostHeld = 3000;
const pace = 250;  // ms; the least time between two requests for new rows

export class Rows {
    /// `onChange({arrived, reloaded})` is called after the list has changed, with the number of new
    /// rows at the end of the ranks; `onProblem(text)` with a problem, or "" when it is over.
    /// `wantedRange()` gives the first and last rank on screen.
    constructor({onChange, onProblem, wantedRange}) {
        Object.assign(this, {onChange, onProblem, wantedRange});
        this.paused = false;
        this.pending = 0;     // new while paused
        this.lastNumber = 0;  // the latest that the collector has reported
        this.life = null;     // identifies the time between two starts or resets of the collector
        this.epoch = 0;       // answers to requests of an earlier epoch are dropped
        this.view = null;
        this.problem = '';
        this.#forget();
    }

    get loaded() { return this.known !== null; }
    get unread() { return this.problem !== '' && this.heldView !== this.view; }
    get isByNumber() { return this.view.sort === 'number'; }
    get isReversed() { return this.isByNumber && this.view.order === 'descending'; }

    /// Rows are shown by index, from the top.
    rankOf(index) { return this.isReversed ? this.total - 1 - index : index; }
    indexOf(rank) { return this.rankOf(rank); }
    at(index) { return this.held.get(this.rankOf(index)); }

    show(view) {
        this.view = view;
        this.reload();
    }

    /// Requests all rows again. The rows on screen stay until the answer arrives.
    reload() {
        this.epoch += 1;
        this.known = null;
        this.pending = 0;
        this.#refresh();
    }

    /// Takes the number of the collector's last event, the time of its start and the number of its
    /// resets. Returns whether it was restarted or reset since the last call.
    hear({lastNumber, resets, started}) {
        const life = `${started} ${resets}`;
        const wasReset = this.life !== null && life !== this.life;
        const isNew = wasReset || lastNumber !== this.lastNumber;
        this.lastNumber = lastNumber;
        this.life = life;
        if (wasReset) {
            this.epoch += 1;
            this.#forget();
            this.pending = 0;
            this.onChange({arrived: 0, reloaded: true});
        }
        if (isNew) this.#refresh();
        return wasReset;
    }

    setPaused(paused) {
        this.paused = paused;
        this.pending = 0;
        this.#refresh();
    }

    /// Loads the rows on screen that are not held.
    need() {
        this.#loadBlock();
    }

    /// The rank of an event, held or not; null if it is not in the list.
    async findRank(number) {
        for (const [rank, event] of this.held) if (event.number === number) return rank;
        if (!this.isByNumber || !this.loaded) return null;
        const {epoch} = this;
        const order = {...this.view.filters, sort: 'number', order: 'ascending', limit: 1};
        const [from, beyond] = await Promise.all([
            api.events({...order, after: number - 1}), api.events({...order, after: this.known}),
        ]);
        if (epoch !== this.epoch || from.events[0]?.number !== number) return null;
        return this.total - (from.total - beyond.total);
    }

    #forget() {
        this.held = new Map();
        this.heldView = null;  // the view of the rows that are held
        this.total = 0;
        this.known = null;  // events up to this number are counted in `total`
    }

    async #refresh() {
        if (this.refreshing) {
            this.refreshAgain = true;
            return;
        }
        if (!this.view) return;
        this.refreshing = true;
        const started = performance.now();
        const {epoch} = this;
        try {
            if (this.paused && this.loaded) await this.#countNew(epoch);
            else if (this.loaded && this.isByNumber) await this.#takeNew(epoch);
            else await this.#takeAll(epoch);
            this.#tell('');
        } catch (error) {
            this.#tell(error.message);
            if (epoch === this.epoch && this.heldView !== this.view) {
                // Rows of another view would look like the answer.
                this.#forget();
                this.onChange({arrived: 0, reloaded: true});
            }
        }
        setTimeout(() => {
            this.refreshing = false;
            if (!this.refreshAgain && epoch === this.epoch) return;
            this.refreshAgain = false;
            this.#refresh();
        }, Math.max(0, pace - (performance.now() - started)));
    }

    async #countNew(epoch) {
        const {total} = await api.events({...this.view.filters, after: this.known, limit: 1});
        if (epoch !== this.epoch || !this.paused) return;
        this.pending = total;
        this.onChange({arrived: 0, reloaded: false});
    }

    async #takeNew(epoch) {
        const heard = this.lastNumber;
        const {total, events} = await api.events({
            ...this.view.filters, after: this.known, sort: 'number', order: 'descending', limit: blockSize,
        });
        if (epoch !== this.epoch || this.paused) return;
        this.total += total;
        events.forEach((event, place) => this.held.set(this.total - 1 - place, event));
        this.known = Math.max(this.known, heard, events[0]?.number ?? 0);
        this.#drop();
        if (total > 0) this.onChange({arrived: total, reloaded: false});
    }

    async #takeAll(epoch) {
        const heard = this.lastNumber;
        const {sort, order, filters} = this.view;
        // Requests the newest events by number in any order, because `total` counts up to them.
        const offset = this.isByNumber ? 0 : Math.max(0, this.wantedRange()[0] - blockSize / 2);
        const {total, events} = await api.events({
            ...filters, sort, order: this.isByNumber ? 'descending' : order, offset, limit: blockSize,
        });
        if (epoch !== this.epoch) return;
        this.held = new Map();
        this.total = total;
        events.forEach((event, place) => {
            this.held.set(this.isByNumber ? total - 1 - place : offset + place, event);
        });
        this.known = Math.max(heard, this.isByNumber ? events[0]?.number ?? 0 : 0);
        this.heldView = this.view;
        this.onChange({arrived: 0, reloaded: true});
    }

    async #loadBlock() {
        if (this.loadingBlock || !this.loaded) return;
        const [first, last] = this.wantedRange();
        const end = Math.min(last + 1, this.total);
        let missing = first;
        while (missing < end && this.held.has(missing)) missing += 1;
        if (missing >= end) return;
        this.loadingBlock = true;
        const {epoch} = this;
        const {sort, order, filters} = this.view;
        const offset = Math.floor(missing / blockSize) * blockSize;
        try {
            const {events} = await api.events({
                ...filters, sort, order: this.isReversed ? 'ascending' : order, offset, limit: blockSize,
            });
            if (epoch === this.epoch && events.length === 0) {
                this.reload();
            } else if (epoch === this.epoch) {
                events.forEach((event, place) => {
                    if (offset + place < this.total) this.held.set(offset + place, event);
                });
                this.#drop();
                setTimeout(() => this.onChange({arrived: 0, reloaded: false}));
            }
        } catch (error) {
            this.#tell(error.message);
        }
        this.loadingBlock = false;
    }

    #tell(problem) {
        this.problem = problem;
        this.onProblem(problem === '' ? '' : `The events cannot be read: ${problem}`);
    }

    /// Drops the rows that are far from the screen.
    #drop() {
        if (this.held.size <= mostHeld) return;
        const [first, last] = this.wantedRange();
        const newest = this.total - blockSize;
        for (const rank of this.held.keys()) {
            const near = rank >= first - blockSize && rank <= last + blockSize;
            if (!near && rank < newest) this.held.delete(rank);
        }
    }
}
