// Formats numbers, times and short texts.

import {numberText} from './api.js';

const integers = new Intl.NumberFormat();
const clock = new Intl.DateTimeFormat(undefined, {
    hour: '2-digit', minute: '2-digit', second: '2-digit', fractionalSecondDigits: 3, hourCycle: 'h23',
});
const day = new Intl.DateTimeFormat(undefined, {day: 'numeric', month: 'short'});
const full = new Intl.DateTimeFormat(undefined, {
    year: 'numeric', month: 'short', day: 'numeric', hour: '2-digit', minute: '2-digit',
    second: '2-digit', fractionalSecondDigits: 3, hourCycle: 'h23',
});

export const count = (number) => integers.format(number);

export const plural = (number, one, many = `${one}s`) =>
    `${count(number)} ${number === 1 ? one : many}`;

// A client's time may be any number, also one that no date can hold.
function dateOf(milliseconds) {
    const date = new Date(Number(numberText(milliseconds)));
    return Number.isNaN(date.getTime()) ? null : date;
}

export function isoTime(milliseconds) {
    return dateOf(milliseconds)?.toISOString() ?? numberText(milliseconds);
}

/// The time of day. For another day, the day and the time without fractions.
export function shortTime(milliseconds) {
    const date = dateOf(milliseconds);
    if (!date) return numberText(milliseconds);
    const today = date.toDateString() === new Date().toDateString();
    return today ? clock.format(date) : `${day.format(date)} ${clock.format(date).slice(0, 8)}`;
}

export function fullTime(milliseconds) {
    const date = dateOf(milliseconds);
    return date ? full.format(date) : numberText(milliseconds);
}

/// A label for an axis whose ticks are `step` milliseconds apart.
export function axisTime(milliseconds, step) {
    const date = new Date(milliseconds);
    if (step >= 86_400_000) return day.format(date);
    const text = clock.format(date);
    const digits = step < 1000 ? text.length : step < 60_000 ? 8 : 5;
    return text.slice(0, digits);
}

export function duration(milliseconds) {
    const units = [[86_400_000, 'd'], [3_600_000, 'h'], [60_000, 'min'], [1000, 's']];
    const [size, unit] = units.find(([least]) => milliseconds >= least) ?? [1, 'ms'];
    return `${Math.round((milliseconds / size) * 10) / 10} ${unit}`;
}

/// For a field of type datetime-local, in local time.
export function localInput(milliseconds) {
    const date = dateOf(milliseconds);
    if (!date) return '';
    return new Date(date.getTime() - date.getTimezoneOffset() * 60_000).toISOString().slice(0, -1);
}

export function shortened(text, most) {
    return text.length > most ? `${text.slice(0, most - 1)}…` : text;
}

/// A JSON pointer for people: "/lines/0/price" becomes "lines[0].price".
export function pointerText(pointer) {
    const steps = pointerSteps(pointer);
    return steps.map((step) => (/^\d+$/.test(step) ? `[${step}]` : `.${step}`)).join('')
        .replace(/^\./, '');
}

export function pointerSteps(pointer) {
    return pointer.split('/').slice(1)
        .map((step) => step.replaceAll('~1', '/').replaceAll('~0', '~'));
}
