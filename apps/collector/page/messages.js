// Shows what is wrong with an event.

import {element} from './dom.js';
import {pointerSteps, shortened} from './format.js';

const requirement = "Required properties are missing '";
const quoted = /("(?:[^"\\]|\\.)*")/;

const isDictionary = (value) => typeof value === 'object' && value !== null && !Array.isArray(value);

/// The parts of a message, at most `most` characters. Of the properties that it says are required,
/// those that the event lacks are marked.
export function messageParts({path, message}, event, most = 2000) {
    const text = shortened(message, most);
    const present = pointerSteps(path).reduce((value, step) => value?.[step], event.event?.properties);
    if (!message.startsWith(requirement) || !isDictionary(present)) return [text];
    return text.split(quoted).map((part, index) =>
        (index % 2 === 1 && isAbsent(part, present) ? element('mark', {title: 'missing'}, part) : part));
}

function isAbsent(name, present) {
    try {
        return !Object.hasOwn(present, JSON.parse(name));
    } catch {
        return false;  // not printed as JSON
    }
}
