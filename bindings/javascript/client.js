// Queries a running zentara-collector, for tests. client.d.ts documents it.

// For the answer itself, in addition to the requested wait.
const patienceForAnswers = 30_000;

export class CollectorError extends Error {
    name = 'CollectorError';
}

export class ExpectationError extends Error {
    name = 'ExpectationError';
}

export class CollectorClient {
    #url;

    constructor(url) {
        this.#url = url.replace(/\/+$/, '');
    }

    async waitFor(selection = {}, count = 1, timeout = 10_000) {
        const {satisfied, total, events} = await this.#ask('GET',
            `/received/wait?count=${count}&timeout=${timeout}&${queryFor(selection)}`,
            {patience: timeout + patienceForAnswers});
        return {satisfied, total, events};
    }

    async expectEvent(selection = {}, timeout = 10_000) {
        const found = await this.waitFor(selection, 1, timeout);
        if (found.satisfied) return found.events[0];
        const received = JSON.stringify(await this.get('/received/summary'));
        throw new ExpectationError(
            `no event with ${queryFor(selection)} within ${timeout} ms; received: ${received}`);
    }

    async expectNoEvent(selection = {}, quietTime = 0) {
        const found = await this.waitFor(selection, 1, quietTime);
        if (!found.satisfied) return;
        throw new ExpectationError(`an event with ${queryFor(selection)} has arrived: ` +
            JSON.stringify(found.events[0]));
    }

    async events(selection = {}) {
        return (await this.get(`/received/events?${queryFor(selection)}`)).events;
    }

    async count(selection = {}) {
        return (await this.get(`/received/events?limit=0&${queryFor(selection)}`)).total;
    }

    async summary() {
        const {requests, envelopes, events, good, bad, distinctActions, duplicates, missing, lastNumber} =
            await this.get('/received/summary');
        return {requests, envelopes, events, good, bad, distinctActions, duplicates, missing, lastNumber};
    }

    async reset() {
        await this.#ask('DELETE', '/received');
    }

    async setFault(service, fault) {
        await this.#ask('PUT', `/faults/${service}`, {body: JSON.stringify(fault)});
    }

    async clearFaults() {
        await this.#ask('DELETE', '/faults');
    }

    async get(path) {
        return this.#ask('GET', path);
    }

    async #ask(method, path, {body, patience = patienceForAnswers} = {}) {
        const request = `${method} ${this.#url}${path}`;
        let answer, text;
        try {
            answer = await fetch(this.#url + path,
                {method, body, signal: AbortSignal.timeout(patience),
                 headers: {'Content-Type': 'application/json'}});
            text = await answer.text();
        } catch (error) {
            throw new CollectorError(`${request}: ${reasonOf(error)}`, {cause: error});
        }
        if (answer.status !== 200) throw new CollectorError(`${request}: ${answer.status} ${text}`);
        try {
            return JSON.parse(text);
        } catch (error) {
            throw new CollectorError(`${request}: the answer is not JSON: ${error.message}`);
        }
    }
}

function reasonOf(error) {
    if (error.name === 'TimeoutError') return 'Timeout was reached';
    if (error.cause?.code === 'ECONNREFUSED') return "Couldn't connect to server";
    return error.cause?.message ?? error.message;
}

const verdicts = {good: 'true', bad: 'false', any: 'any'};

// As `queryFor` of the client in C++ writes it, so that messages are the same.
function queryFor({schema, user, tenant, context, client, text, since, after, properties = {},
                   duplicate, verdict = 'good', ...others}) {
    const [unknown] = Object.keys(others);
    if (unknown) throw new TypeError(`events cannot be selected by ${unknown}`);
    if (!(verdict in verdicts)) throw new TypeError(`verdict is good, bad or any, not ${verdict}`);
    const parameters = {schema, user, tenant, context, client, text, since, after};
    for (const [path, value] of Object.entries(properties))
        parameters[`property.${path}`] = typeof value === 'string' ? value : JSON.stringify(value);
    return Object.entries({...parameters, duplicate, good: verdicts[verdict]})
        .filter(([, value]) => value !== undefined && value !== null)
        .map(([name, value]) => `${escaped(name)}=${escaped(String(value))}`)
        .join('&');
}

const escaped = (text) => encodeURIComponent(text)
    .replace(/[!'()*]/g, (character) => '%' + character.charCodeAt(0).toString(16).toUpperCase());
