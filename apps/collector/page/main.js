// Connects the parts of the page: the collector's answers go to the counts, the list and the chart;
// the user's actions go to the address, and from there to all parts that show the view.

import {Address} from './address.js';
import * as api from './api.js';
import {Chart} from './chart.js';
import {openGaps, setUpClear, setUpHelp, showEmpty, tellReset} from './dialogs.js';
import {byId, setText} from './dom.js';
import {setUpExport} from './export.js';
import {Faults} from './faults.js';
import {Filters} from './filters.js';
import {count, plural} from './format.js';
import {listenToKeys} from './keys.js';
import {List} from './list.js';
import {Live} from './live.js';
import {Panel} from './panel.js';
import {Refused} from './refused.js';
import {Rows} from './rows.js';
import {Schemas} from './schemas.js';

const announcePace = 5000;  // ms between two announcements of the counts

const narrow = matchMedia('(max-width: 1000px)');  // as in panel.css

let summary = null;
let connection = 'connecting';
let announced = 0;

const address = new Address(showView);
const rows = new Rows({
    onChange: showRows,
    onProblem: (text) => {
        setText(byId('problem'), text);
        // The header shows already that the collector does not answer.
        byId('problem').hidden = text === '' || connection === 'lost';
    },
    wantedRange: () => list.wantedRange(),
});
const list = new List({
    rows, onOpen: openEvent, onSort: (name) => filters.sortBy(name),
    onMove: (event) => {
        if (panel.isOpen && event) address.go({open: event.number}, 'walk');
    },
});
const chart = new Chart({onNarrow: (times) => address.filter(times)});
const filters = new Filters({address, onGaps: () => openGaps((filter) => address.filter(filter))});
const faults = new Faults();
const refused = new Refused({onChange: () => showRows({arrived: 0, reloaded: false})});
const schemas = new Schemas({onFilter: (wanted) => address.go({filters: wanted})});
const panel = new Panel({
    find: findEvent,
    onFilter: (filter) => address.filter(filter),
    onProperty: (path, value) => address.filterProperty(path, value),
    onColumn: (path) => address.showColumn(path),
    onClose: closeEvent,
    onStep: (by) => list.move(by),
    onOpen: openEvent,
});

setUpClear(() => summary);
setUpExport({filters: () => address.view.filters, last: () => summary?.lastNumber ?? 0});
const openHelp = setUpHelp();
listenToKeys(list, {
    move: (by) => list.move(by),
    moveTo: (index) => list.moveTo(index),
    open: () => list.activeEvent && openEvent(list.activeEvent.number),
    close: () => panel.isOpen && (closeEvent(), true),
    pause: togglePause,
    help: openHelp,
});
narrow.addEventListener('change', coverRest);
byId('pause').addEventListener('click', togglePause);
setText(byId('origin'), location.host);

showView(address.view, {rows: true, columns: true, open: true});
new Live({onSummary: showSummary, onHidden: showTitle, onState: showConnection});

function showView(view, changed) {
    filters.show(view);
    if (changed.columns) list.setColumns(view.columns);
    if (changed.rows) {
        list.toTop();
        rows.show(view);
        chart.show(view.filters);
    }
    if (changed.open) showOpen(view.open);
}

async function showOpen(number) {
    list.setOpen(number);
    if (number === null) panel.close();
    else await panel.open(number);
    coverRest();
    pointToOpen();
}

/// On a small screen the open panel covers everything else.
function coverRest() {
    const isCovered = narrow.matches && panel.isOpen;
    for (const part of document.querySelectorAll('.top, .overview, .filters, .listArea')) part.inert = isCovered;
    if (isCovered && !byId('panel').contains(document.activeElement)) panel.focus();
}

/// Makes the row of the open event active, so that moving starts there.
async function pointToOpen() {
    const number = address.view.open;
    if (number === null || list.activeEvent?.number === number) return;
    const rank = await rows.findRank(number).catch(() => null);
    if (rank !== null && address.view.open === number) list.point(rank);
}

async function findEvent(number, signal) {
    for (const event of rows.held.values()) if (event.number === number) return event;
    const {events} = await api.events({after: number - 1, sort: 'number', order: 'ascending', limit: 1}, signal);
    return events[0]?.number === number ? events[0] : null;
}

function openEvent(number) {
    address.go({open: number}, panel.isOpen ? 'walk' : null);
}

function closeEvent() {
    address.go({open: null});
    coverRest();
    byId('list').focus({preventScroll: true});
}

function togglePause() {
    rows.setPaused(!rows.paused);
    byId('pause').setAttribute('aria-pressed', String(rows.paused));
    byId('pauseIcon').setAttribute('href', rows.paused ? '#iconResume' : '#iconPause');
    if (!rows.paused) chart.look();
    showState();
}

function showSummary(next) {
    const isFirst = summary === null;
    const wasRestarted = !isFirst && next.started !== summary.started;
    summary = next;
    filters.showSummary(next);
    refused.showSummary(next);
    schemas.showSummary(next);
    faults.showMet(next.faults);
    faults.look();
    showTitle(next);
    const wasReset = rows.hear(next);
    if (wasReset) {
        const wasOpen = address.view.open !== null;
        if (wasOpen) address.go({open: null});
        tellReset(wasRestarted, wasOpen);
    }
    if (!rows.paused || wasReset) chart.look();
    if (isFirst) showRows({arrived: 0, reloaded: false});
    announce();
}

function showTitle({bad}) {
    document.title = bad > 0 ? `(${count(bad)} bad) Zentara collector` : 'Zentara collector';
}

function showRows(change) {
    list.update(change);
    if (change.reloaded) pointToOpen();
    const isFiltered = Object.keys(address.view.filters).length > 0;
    const isCut = list.shownTotal < rows.total;
    const match = !isFiltered ? '' : rows.total === 1 ? ' matches' : ' match';
    const cut = isCut ? `, the first ${count(list.shownTotal)} listed` : '';
    setText(byId('matches'), rows.loaded ? plural(rows.total, 'event') + match + cut : '');
    const isEmpty = rows.loaded && rows.total === 0;
    const kind = rows.unread ? 'unread' : !isEmpty ? '' : summary?.events > 0 ? 'noMatch' : 'nothing';
    showEmpty(kind, {
        refused: refused.latest, onClearFilters: () => filters.clear(), onRetry: () => rows.reload(),
        onRefused: () => refused.open(),
    });
    showState();
}

function showConnection(state) {
    const wasLost = connection === 'lost';
    const isFirst = connection === 'connecting';
    connection = state;
    if (state === 'open') {
        byId('problem').hidden = true;
        // Anything may have changed meanwhile, even the collector.
        if (!isFirst || wasLost) {
            rows.reload();
            chart.look();
        }
    }
    showState();
}

function showState() {
    const states = {connecting: 'Connecting', lost: 'Collector is away, reconnecting', open: 'Live'};
    const isPaused = rows.paused && connection === 'open';
    const place = byId('connection');
    setText(place, isPaused ? 'Paused' : states[connection]);
    place.dataset.state = isPaused ? 'paused' : connection;
    setText(byId('pauseLabel'), !rows.paused ? 'Pause' : rows.pending > 0 ? `${count(rows.pending)} new` : 'Resume');
    byId('pause').setAttribute('aria-label', !rows.paused ? 'Pause' : `Resume, ${count(rows.pending)} new`);
}

/// The counts change many times a second; screen readers get them every few seconds.
function announce() {
    if (announced !== 0) return;
    announced = setTimeout(() => {
        announced = 0;
        setText(byId('announcement'), `${plural(summary.events, 'event')}, ${count(summary.good)} good, ` +
            `${count(summary.bad)} bad` + (summary.refused > 0 ? `, ${plural(summary.refused, 'post')} refused` : ''));
    }, announcePace);
}
