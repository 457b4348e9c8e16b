// Requests to the collector's query interface.

// Numbers of events are shown and copied as they were sent, such as 5.0 or with more digits than a
// JavaScript number holds, if the browser gives their text. `numberText` and `isExactNumber` are for
// these numbers. They take time in very large answers.
const exactLimit = 4_000_000;
const keepsText = typeof JSON.rawJSON === 'function';

function exactly(key, value, context) {
    return typeof value === 'number' && context && String(value) !== context.source
        ? JSON.rawJSON(context.source) : value;
}

export const isExactNumber = (value) => keepsText && JSON.isRawJSON(value);
export const numberText = (value) => (isExactNumber(value) ? value.rawJSON : String(value));

function parse(text, exact) {
    return exact && keepsText && text.length <= exactLimit ? JSON.parse(text, exactly) : JSON.parse(text);
}

export function target(path, parameters = {}) {
    const query = new URLSearchParams(parameters);
    return query.size > 0 ? `${path}?${query}` : path;
}

async function request(method, where, {signal, body}) {
    const response = await fetch(where, {
        method, signal, cache: 'no-store',
        body: body === undefined ? undefined : JSON.stringify(body),
        headers: body === undefined ? {} : {'Content-Type': 'application/json'},
    });
    return {response, text: await response.text()};
}

async function call(method, where, {signal, body, exact = false} = {}) {
    const {response, text} = await request(method, where, {signal, body});
    let answer = null;
    try {
        answer = parse(text, exact);
    } catch {
        throw new Error(`the answer to ${where} is not JSON (status ${response.status})`);
    }
    if (!response.ok) {
        const error = new Error(answer?.error ?? `status ${response.status}`);
        error.status = response.status;
        throw error;
    }
    return answer;
}

export const events = (parameters, signal) =>
    call('GET', target('/received/events', parameters), {signal, exact: true});
/// JSON lines of the first events that match.
export async function exportPart(parameters) {
    const {response, text} = await request('GET', target('/received/export', parameters), {});
    if (!response.ok) throw new Error(`status ${response.status}`);
    return text;
}
export const summary = () => call('GET', '/received/summary');
export const eventByUUID = (uuid, signal) =>
    call('GET', `/received/events/${encodeURIComponent(uuid)}`, {signal, exact: true});
export const envelopes = (parameters, signal) =>
    call('GET', target('/received/envelopes', parameters), {signal, exact: true});
export const refusedPosts = (limit) =>
    call('GET', target('/received/requests', {refused: true, order: 'descending', limit}));
export const timeline = (parameters, signal) =>
    call('GET', target('/received/timeline', parameters), {signal});
export const gaps = () => call('GET', '/received/gaps');
export const schemas = () => call('GET', '/received/schemas');
export const properties = (schema) => call('GET', `/received/schemas/${encodeURIComponent(schema)}`);
export const messages = () => call('GET', '/received/messages');
export const forgetAll = () => call('DELETE', '/received');
export const faults = () => call('GET', '/faults');
export const setFault = (service, fault) => call('PUT', `/faults/${service}`, {body: fault});
export const clearFault = (service) => call('DELETE', `/faults/${service}`);
export const clearFaults = () => call('DELETE', '/faults');
