// The summary of an event in one row.

import {isExactNumber, numberText} from './api.js';
import {element} from './dom.js';
import {pointerText, shortened} from './format.js';
import {absentNames, messageParts} from './messages.js';

const mostMembers = 8;
const mostOfMessage = 300;  // characters

/// A value in a few characters.
export function brief(value) {
    if (value === null) return 'null';
    if (isExactNumber(value)) return numberText(value);
    if (Array.isArray(value)) return value.length === 0 ? '[]' : `[…${value.length}]`;
    if (typeof value === 'object') return Object.keys(value).length === 0 ? '{}' : '{…}';
    return shortened(String(value), 60);
}

function properties(event) {
    const all = event.event?.properties ?? {};
    const names = Object.keys(all);
    const parts = [];
    for (const name of names.slice(0, mostMembers)) {
        parts.push(element('span', {class: 'previewKey'}, shortened(name, 40)), ` ${brief(all[name])}  `);
    }
    if (names.length > mostMembers) parts.push('…');
    return parts;
}

export function detailParts(event) {
    const parts = [];
    if (event.duplicate) parts.push(element('span', {class: 'badge duplicate'}, 'duplicate'));
    if (event.good) return [...parts, ...properties(event)];
    const [first, ...others] = event.messages;
    const absent = first ? absentNames(first, event, mostOfMessage) : [];
    const place = [first ? pointerText(first.path) : '', absent.join(', ')].filter(Boolean).join('.');
    if (place) parts.push(element('span', {class: 'messagePath'}, shortened(place, 60)), ' ');
    parts.push(element('span', {class: 'message'}, ...(first ? messageParts(first, event, mostOfMessage) : ['not valid'])));
    if (others.length > 0) parts.push(element('span', {class: 'badge more'}, `+${others.length}`));
    return parts;
}
