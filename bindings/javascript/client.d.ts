/** The collector cannot be reached, or its answer is invalid. */
export class CollectorError extends Error {}

/** An expectation of a test failed. The text names the selection and what arrived instead. */
export class ExpectationError extends Error {}

/** Selects events; all members must match. */
export interface EventSelection {
    /** "{id}-{version}" */
    schema?: string;
    /** The user's token, or "{type}={token}". */
    user?: string;
    /** Of the envelope. */
    tenant?: string;
    /** The client's context id. */
    context?: string;
    /** The client's UUID. */
    client?: string;
    /** Anywhere in the event's JSON text. */
    text?: string;
    /** Received then or later, milliseconds since 1970. */
    since?: number;
    /** With a larger number. */
    after?: number;
    /** Of these properties: {section: 'home', 'variant.size': 'L'}. */
    properties?: Record<string, string | number | boolean | null>;
    duplicate?: boolean;
    /** Of the check against the schema on arrival; good by default. */
    verdict?: 'good' | 'bad' | 'any';
}

/** An event as docs/collector.md describes it. */
export interface ReceivedEvent {
    number: number;
    envelope: number;
    duplicate: boolean;
    good: boolean;
    messages: {path: string; message: string}[];
    receivedAt: number;
    clientUUID: string;
    tenant: string;
    user: {type: string; token: string} | null;
    schema: string;
    actionUUID: string;
    sequence: number;
    /** As the application posted it. */
    event: any;
    [fact: string]: any;
}

/** The result of a wait. */
export interface FoundEvents {
    /** Enough events match. */
    satisfied: boolean;
    /** That match. */
    total: number;
    /** At most the first 100 of them. */
    events: ReceivedEvent[];
}

/** Counts of everything received. */
export interface CollectorSummary {
    requests: number;
    envelopes: number;
    events: number;
    good: number;
    bad: number;
    distinctActions: number;
    duplicates: number;
    /** Sequence numbers that have not arrived. */
    missing: number;
    /** Of the newest event. */
    lastNumber: number;
}

export type Service = 'schemas' | 'id' | 'event' | 'all';

/** For example {answer: 'status', status: 503}. */
export interface Fault {
    answer?: 'normal' | 'status' | 'none' | 'dropped' | 'lost' | 'truncated' | 'garbage' | 'not-http';
    status?: number;
    rate?: number;
    times?: number;
    latency?: number;
    readingPace?: number;
    retryAfter?: number;
}

/**
 * Queries a running zentara-collector, for tests:
 *
 *     const collector = new CollectorClient('http://127.0.0.1:8080');
 *     await collector.reset();
 *     await application.openHomePage();
 *     const view = await collector.expectEvent({schema: 'page-view-1', text: 'Home'});
 *     assert.equal(view.event.properties.section, 'home');
 *     await collector.expectNoEvent({verdict: 'bad'});
 *
 * Each call sends one request; its promise is rejected with a `CollectorError`. Times are
 * milliseconds. Node reads the certificate authority for https from the file that
 * NODE_EXTRA_CA_CERTS names.
 */
export class CollectorClient {
    /** `url` is the address that the collector prints, for example "http://127.0.0.1:8080". */
    constructor(url: string);

    /**
     * Waits until at least `count` events (1) match, at most `timeout` (10,000), of which fetch in node
     * waits five minutes.
     */
    waitFor(selection?: EventSelection, count?: number, timeout?: number): Promise<FoundEvents>;

    /** Waits for one event. Rejected with `ExpectationError` if there is none in time (10,000). */
    expectEvent(selection?: EventSelection, timeout?: number): Promise<ReceivedEvent>;

    /**
     * Rejected with `ExpectationError` if an event matches, now or within `quietTime` (0). Without
     * a quiet time the caller must know that everything has arrived.
     */
    expectNoEvent(selection?: EventSelection, quietTime?: number): Promise<void>;

    /** All events that match, in order of arrival. */
    events(selection?: EventSelection): Promise<ReceivedEvent[]>;

    count(selection?: EventSelection): Promise<number>;
    summary(): Promise<CollectorSummary>;

    /** Removes everything received. */
    reset(): Promise<void>;

    /** Makes a service fail. */
    setFault(service: Service, fault: Fault): Promise<void>;
    clearFaults(): Promise<void>;

    /** The answer to GET `path`, for queries without a method here. */
    get(path: string): Promise<any>;
}
