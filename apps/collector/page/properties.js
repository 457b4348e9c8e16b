// Properties of events by their paths: names of members, or places in lists, joined by dots.

import {isExactNumber, numberText} from './api.js';

const prefix = 'property.';
const deepest = 8;      // as the collector's filters
const longest = 200;    // characters; eight columns fit into an address
const mostLeaves = 300;

/// The path in the name of a filter, or null if the filter is for something else.
export const pathOf = (filter) => (filter.startsWith(prefix) ? filter.slice(prefix.length) : null);
export const filterOf = (path) => prefix + path;

/// Paths that end in a dot cannot be asked for.
export const isPath = (path) =>
    path !== '' && path.length <= longest && !path.endsWith('.') && path.split('.').length <= deepest;

/// The path and the value of "section = home", or null.
export function readProperty(text) {
    const [, path, value] = /^([^=]*)=(.*)$/s.exec(text)?.map((part) => part.trim()) ?? [null, ''];
    return isPath(path) ? {path, value} : null;
}

const isBranch = (value) => typeof value === 'object' && value !== null && !isExactNumber(value);

/// The value at `path` in an event's properties; undefined if there is none.
export const valueAt = (event, path) => path.split('.').reduce((value, name) =>
    (isBranch(value) && Object.hasOwn(value, name) ? value[name] : undefined), event.event?.properties);

/// The value as the collector's filters take it.
export const filterText = (value) =>
    (typeof value === 'number' || isExactNumber(value) ? numberText(value) : String(value));

/// The paths of the event's values other than lists and objects, at most `mostLeaves`.
export function leafPaths(event) {
    const paths = [];
    const walk = (value, steps) => {
        if (paths.length >= mostLeaves || steps.length > deepest) return;
        if (!isBranch(value)) paths.push(steps.join('.'));
        else for (const name of Object.keys(value)) if (!name.includes('.')) walk(value[name], [...steps, name]);
    };
    walk(event.event?.properties ?? {}, []);
    return paths.filter(isPath);
}
