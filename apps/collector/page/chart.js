// The chart of events over time: good events below, bad events hatched above. A click or a drag
// narrows the view to that time.

import * as api from './api.js';
import {byId, setText, svgElement} from './dom.js';
import {axisTime, count, duration, plural, shortTime} from './format.js';

const pace = 1000;         // ms between two requests of the time line
const fewestBuckets = 24;  // keeps the bars of a few events narrow
const mostFine = 60;       // bars, when a short time gets finer bars
const finest = 10;         // ms
const margin = {left: 38, right: 8, top: 6, bottom: 18};
const dragAtLeast = 5;  // px
const none = {width: 1000, buckets: []};

const steps = [
    1, 2, 5, 10, 20, 50, 100, 200, 500, 1000, 2000, 5000, 10_000, 15_000, 30_000, 60_000, 120_000,
    300_000, 600_000, 900_000, 1_800_000, 3_600_000, 7_200_000, 14_400_000, 21_600_000, 43_200_000,
];

function tickStep(span, most) {
    const day = 86_400_000;
    return steps.find((step) => span / step <= most) ?? Math.ceil(span / most / day) * day;
}

/// The least round number that is not below `most`; half of it is round, too.
function roundTop(most) {
    const power = 10 ** Math.floor(Math.log10(Math.max(1, most)));
    return Math.max(2, [1, 2, 4, 6, 8, 10].map((factor) => factor * power).find((top) => top >= most));
}

export class Chart {
    /// `onNarrow({since, until})` is called when a time is chosen.
    constructor({onNarrow}) {
        this.onNarrow = onNarrow;
        this.area = byId('chartArea');
        this.readout = byId('chartReadout');
        this.data = none;
        this.filters = {};
        this.shown = null;  // the filters of `data`
        this.cursor = null;  // index of the bucket under the pointer
        this.area.tabIndex = 0;
        this.area.setAttribute('role', 'group');
        this.area.setAttribute('aria-describedby', 'chartReadout');
        this.#listen();
        new ResizeObserver(() => this.draw()).observe(this.area);
    }

    show(filters) {
        this.filters = filters;
        this.cursor = null;
        this.look();
        this.endPause?.();
    }

    /// Requests the time line soon. Further calls until then have no effect.
    look() {
        this.wanted = true;
        if (!this.looking) this.#look();
    }

    async #look() {
        this.looking = true;
        while (this.wanted) {
            this.wanted = false;
            const started = performance.now();
            const {filters} = this;
            // The list shows the cause of a failure. Bars of other filters would look like the answer.
            const data = await timeline(filters).catch(() => (filters === this.shown ? this.data : none));
            if (filters !== this.filters) continue;
            this.data = data;
            this.shown = filters;
            this.draw();
            const took = performance.now() - started;
            await new Promise((resolve) => {
                this.endPause = resolve;
                setTimeout(resolve, Math.max(pace, took));
            });
        }
        this.looking = false;
    }

    draw() {
        const {buckets, width} = this.data;
        const wide = this.area.clientWidth;
        const high = this.area.clientHeight;
        if (wide < 50 || high < 30) return;
        this.#describe();
        const plotWidth = wide - margin.left - margin.right;
        const plotHeight = high - margin.top - margin.bottom;
        const last = buckets.at(-1)?.start ?? Date.now();
        const first = buckets[0]?.start ?? last + width * (1 - fewestBuckets);
        // The chosen time, cut where its events would shrink to a line.
        const beside = 3 * Math.max(last + width - first, width * fewestBuckets);
        const end = Math.min(Number(this.filters.until ?? last + width), last + width + beside);
        const usual = Math.min(first, end - width * fewestBuckets);
        const start = Math.max(Number(this.filters.since ?? usual), first - beside);
        const span = Math.max(1, end - start);
        const top = roundTop(Math.max(0, ...buckets.map(({good, bad}) => good + bad)));
        this.scale = {
            x: (time) => margin.left + ((time - start) / span) * plotWidth,
            y: (number) => margin.top + plotHeight * (1 - number / top),
            time: (x) => start + (Math.min(1, Math.max(0, (x - margin.left) / plotWidth))) * span,
        };
        const parts = [hatching(), ...this.#axes(start, end, top, wide, high)];
        buckets.forEach((bucket, index) => parts.push(...this.#bars(bucket, index, plotWidth, span)));
        this.selection = svgElement('rect', {class: 'selection', y: margin.top, height: plotHeight, width: 0});
        parts.push(this.selection);
        this.area.replaceChildren(svgElement('svg', {
            viewBox: `0 0 ${wide} ${high}`, width: wide, height: high, 'aria-hidden': 'true',
        }, ...parts));
        this.#showCursor();
    }

    #axes(start, end, top, wide, high) {
        const parts = [];
        for (const number of [0, top / 2, top]) {
            const y = Math.round(this.scale.y(number)) + 0.5;
            parts.push(svgElement('line', {class: 'grid', x1: margin.left, x2: wide - margin.right, y1: y, y2: y}));
            parts.push(svgElement('text', {class: 'tick', x: margin.left - 6, y: y + 3.5, 'text-anchor': 'end'},
                count(number)));
        }
        const step = tickStep(end - start, Math.max(2, Math.floor(wide / 105)));
        const zone = new Date(start).getTimezoneOffset() * 60_000;
        for (let time = Math.ceil((start - zone) / step) * step + zone; time <= end; time += step) {
            const x = this.scale.x(time);
            if (x > wide - 26 || x < margin.left + 12) continue;
            const y1 = high - margin.bottom;
            parts.push(svgElement('line', {class: 'grid', x1: x, x2: x, y1, y2: y1 + 4}));
            parts.push(svgElement('text', {class: 'tick', x, y: high - 3, 'text-anchor': 'middle'},
                axisTime(time, step)));
        }
        return parts;
    }

    #bars({start, good, bad}, index, plotWidth, span) {
        const {width} = this.data;
        const x = this.scale.x(start);
        const thickness = Math.max(2, (width / span) * plotWidth - 1);
        const base = this.scale.y(0);
        const middle = this.scale.y(good);
        const top = this.scale.y(good + bad);
        const bar = (kind, from, to) => svgElement('rect', {
            class: kind, x, y: to, width: thickness, height: Math.max(1, from - to), 'data-index': index,
        }, svgElement('title', {}, this.#tell(index)));
        return [
            good > 0 ? bar('goodBar', base, middle) : null,
            ...(bad > 0 ? [bar('badBar', middle, top), bar('badHatch', middle, top)] : []),
        ].filter(Boolean);
    }

    #tell(index) {
        const {buckets, width} = this.data;
        const {start, good, bad} = buckets[index];
        return `${shortTime(start)}, ${duration(width)}: ${count(good)} good, ${count(bad)} bad`;
    }

    #describe() {
        const {buckets, width} = this.data;
        const good = buckets.reduce((sum, bucket) => sum + bucket.good, 0);
        const bad = buckets.reduce((sum, bucket) => sum + bucket.bad, 0);
        const text = buckets.length === 0 ? 'Events over time: none' :
            `Events over time: ${plural(good + bad, 'event')}, ${count(good)} good and ${count(bad)} bad, ` +
            `from ${shortTime(buckets[0].start)} to ${shortTime(buckets.at(-1).start + width)}. ` +
            'Left and right walk through time, Enter narrows the view.';
        this.area.setAttribute('aria-label', text);
        setText(this.readout, this.cursor === null || !buckets[this.cursor]
            ? (buckets.length > 0 ? `${duration(width)} a bar` : '') : this.#tell(this.cursor));
    }

    #point(index) {
        if (index === this.cursor) return;
        this.cursor = index;
        this.#describe();
        this.#showCursor();
    }

    #showCursor() {
        for (const bar of this.area.querySelectorAll('[data-index]')) {
            bar.classList.toggle('pointed', Number(bar.dataset.index) === this.cursor);
        }
    }

    #bucketAt(x) {
        const time = this.scale.time(x);
        const {buckets, width} = this.data;
        const index = buckets.findIndex(({start}) => time >= start && time < start + width);
        return index < 0 ? null : index;
    }

    #narrowTo(index) {
        const {start} = this.data.buckets[index];
        this.onNarrow({since: start, until: start + this.data.width});
    }

    #listen() {
        const {area} = this;
        const place = (event) => event.clientX - area.getBoundingClientRect().left;
        let from = null;
        area.addEventListener('pointerdown', (event) => {
            if (event.button !== 0 || !this.scale) return;
            from = place(event);
            area.setPointerCapture(event.pointerId);
        });
        area.addEventListener('pointermove', (event) => {
            if (!this.scale) return;
            const x = place(event);
            if (from === null) return this.#point(this.#bucketAt(x));
            const ends = [from, x].map((end) => this.scale.x(this.scale.time(end)));
            this.selection.setAttribute('x', Math.min(...ends));
            this.selection.setAttribute('width', Math.abs(ends[1] - ends[0]));
        });
        area.addEventListener('pointerup', (event) => {
            if (from === null) return;
            const ends = [from, place(event)].sort((a, b) => a - b);
            from = null;
            const bucket = this.#bucketAt(ends[0]);
            if (ends[1] - ends[0] >= dragAtLeast) {
                const {width} = this.data;
                const [since, until] = ends.map((x) => this.scale.time(x) / width);
                this.onNarrow({since: Math.floor(since) * width, until: Math.ceil(until) * width});
            } else if (bucket !== null) {
                this.#narrowTo(bucket);
            }
            this.draw();
        });
        area.addEventListener('pointercancel', () => {
            from = null;
            this.draw();
        });
        area.addEventListener('pointerleave', () => this.#point(null));
        area.addEventListener('blur', () => this.#point(null));
        area.addEventListener('keydown', (event) => {
            const last = this.data.buckets.length - 1;
            const moves = {
                ArrowLeft: Math.max(0, (this.cursor ?? last + 1) - 1),
                ArrowRight: Math.min(last, (this.cursor ?? -1) + 1), Home: 0, End: last,
            };
            if (last < 0) return;
            if (event.key in moves) this.#point(moves[event.key]);
            else if (event.key === 'Enter' && this.cursor !== null) this.#narrowTo(this.cursor);
            else return;
            event.preventDefault();
            event.stopPropagation();
        });
    }
}

/// Requests finer bars if the collector's answer has only a few.
async function timeline(filters) {
    const data = await api.timeline(filters);
    if (data.buckets.length === 0) return data;
    const span = data.buckets.at(-1).start + data.width - data.buckets[0].start;
    const width = Math.max(finest, tickStep(span, mostFine));
    return width < data.width ? api.timeline({...filters, width}) : data;
}

function hatching() {
    return svgElement('defs', {}, svgElement('pattern', {
        id: 'hatch', width: 5, height: 5, patternUnits: 'userSpaceOnUse', patternTransform: 'rotate(45)',
    }, svgElement('line', {class: 'hatchLine', x1: 0, y1: 0, x2: 0, y2: 5})));
}
