// Shows the messages of an event.

import {element} from './dom.js';
import {pointerSteps, shortened} from './format.js';

const requirement = "Required properties are missing '";
const quoted = /("(?:[^"\\]|\\.)*")/;

const isDictionary = (value) => typeof value === 'object' && value !== null && !Array.isArray(value);

/// The parts of a message, at most `most` characters. Marks the required properties that the event
/// lacks.
export const messageParts = (message, event, most = 2000) =>
    pieces(message, event, most).map(({text, isAbsent}) =>
        (isAbsent ? element('mark', {title: 'missing'}, text) : text));

/// The required properties that the event lacks, of those in the first `most` characters.
export const absentNames = (message, event, most) =>
    pieces(message, event, most).filter(({isAbsent}) => isAbsent).map(({text}) => JSON.parse(text));

function pieces({path, message}, event, most) {
    const text = shortened(message, most);
    const present = pointerSteps(path).reduce((value, step) => value?.[step], event.event?.properties);
    if (!message.startsWith(requirement) || !isDictionary(present)) return [{text, isAbsent: false}];
    return text.split(quoted).map((part, index) =>
        ({text: part, isAbsent: index % 2 === 1 && lacks(present, part)}));
}

function lacks(dictionary, name) {
    try {
        return !Object.hasOwn(dictionary, JSON.parse(name));
    } catch {
        return false;  // not printed as JSON
    }
}
