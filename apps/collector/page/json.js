// Shows JSON as a tree whose values open and close. Children are made when they first become visible,
// in portions, so that a value of any size and depth can be shown.

import {isExactNumber, numberText} from './api.js';
import {button, element, setChildren} from './dom.js';
import {count, pointerSteps, shortened} from './format.js';

const childPortion = 100;  // children made at once
const textPortion = 500;   // characters of a text or a name
const openUntil = 200;     // lines that are open at first

const isBranch = (value) => typeof value === 'object' && value !== null && !isExactNumber(value);

/// The tree of `value`. `notes` are [{pointer, parts, id}]; each is shown at the value of its JSON
/// pointer, or at the nearest value around it, and the path to it is open. `id` becomes the id of the
/// note's element. `opened` is the number of open levels.
export function jsonTree(value, {notes = [], opened = 2} = {}) {
    const root = {notes: [], steps: new Map()};
    for (const note of notes) place(root, value, pointerSteps(note.pointer), note);
    const budget = {lines: openUntil};
    const tree = element('div', {class: 'json'});
    tree.append(...lines(value, null, true, root, opened, budget));
    return tree;
}

/// Sorts a note into a tree of notes that mirrors the tree of values.
function place(node, value, steps, note) {
    const [step, ...rest] = steps;
    if (step === undefined || !isBranch(value) || !Object.hasOwn(value, step)) {
        node.notes.push({...note, missing: step !== undefined ? step : null});
        return;
    }
    if (!node.steps.has(step)) node.steps.set(step, {notes: [], steps: new Map()});
    place(node.steps.get(step), value[step], rest, note);
}

function leaf(value) {
    if (isExactNumber(value)) return element('span', {class: 'jsonNumber'}, numberText(value));
    if (typeof value === 'string') return text(value, 'jsonText');
    const kind = value === null ? 'jsonNull' : typeof value === 'number' ? 'jsonNumber' : 'jsonBoolean';
    return element('span', {class: kind}, String(value));
}

/// A text of any length; only its beginning is shown at first.
export function text(value, kind, {portion = textPortion, form = JSON.stringify} = {}) {
    const span = element('span', {class: kind});
    const show = (end) => {
        const rest = value.length - end;
        setChildren(span, form(value.slice(0, end)), rest <= 0 ? null : button(
            `${count(rest)} more characters`, {class: 'moreText', onclick: () => show(end * 20)}));
    };
    show(portion);
    return span;
}

function noteLines(found) {
    return (found?.notes ?? []).map((note) => element('div', {class: 'jsonNote', id: note.id},
        note.missing === null ? null : `${shortened(note.missing, 200)}: `, ...note.parts));
}

function lines(value, key, isLast, found, opened, budget) {
    const comma = isLast ? '' : ',';
    const name = key === null ? [] : [text(key, 'jsonKey'), ': '];
    const marked = found?.notes.length > 0 ? ' marked' : '';
    budget.lines -= 1;
    if (!isBranch(value)) {
        return [element('div', {class: `jsonLine${marked}`}, ...name, leaf(value), comma), ...noteLines(found)];
    }
    const isList = Array.isArray(value);
    const [left, right] = isList ? '[]' : '{}';
    const size = isList ? value.length : Object.keys(value).length;
    if (size === 0) {
        return [element('div', {class: `jsonLine${marked}`}, ...name, left + right + comma), ...noteLines(found)];
    }
    const children = element('div', {class: 'jsonChildren'});
    const end = element('div', {class: 'jsonLine'}, right + comma);
    const rest = element('span', {class: 'jsonRest'},
        ` ${count(size)} ${isList ? 'items' : 'members'} ${right}${comma}`);
    const twisty = button('', {class: 'twisty', 'aria-label': key === null ? 'contents' : `contents of ${shortened(key, 200)}`});
    const setOpen = (open) => {
        if (open && !children.hasChildNodes()) grow(children, value, 0, found, opened - 1, budget);
        children.hidden = end.hidden = !open;
        rest.hidden = open;
        twisty.setAttribute('aria-expanded', String(open));
    };
    twisty.addEventListener('click', () => setOpen(children.hidden));
    setOpen((opened > 0 && budget.lines > 0) || found?.steps.size > 0);
    return [
        element('div', {class: `jsonLine${marked}`}, twisty, ...name, left, rest),
        ...noteLines(found), children, end,
    ];
}

function grow(children, value, from, found, opened, budget) {
    const isList = Array.isArray(value);
    const keys = isList ? null : Object.keys(value);
    const size = isList ? value.length : keys.length;
    const keyAt = (index) => (isList ? String(index) : keys[index]);
    const until = Math.min(size, from + childPortion);
    // A child with a note is shown at once, at any place.
    const shown = [];
    for (let index = from; index < until; index += 1) shown.push(index);
    if (from === 0 && found) {
        for (let index = until; index < size && shown.length < 2 * childPortion; index += 1) {
            if (found.steps.has(keyAt(index))) shown.push(index);
        }
    }
    for (const index of shown) {
        const key = keyAt(index);
        children.append(...lines(value[key], isList ? null : key, index === size - 1,
            found?.steps.get(key), opened, budget));
        if (index === until - 1 && until < size) {
            const more = button(`${count(size - until)} more`, {class: 'moreItems'});
            more.addEventListener('click', () => {
                const next = element('div');
                grow(next, value, until, found, 0, budget);
                more.replaceWith(next);
            });
            children.append(more);
        }
    }
}
