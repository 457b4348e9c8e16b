// Receives the collector's summary after each change.

const retryAfter = 2000;  // ms

export class Live {
    /// `onSummary(summary)`; `onState(state)` with "open" or "lost".
    constructor({onSummary, onState}) {
        this.onSummary = onSummary;
        this.onState = onState;
        this.#connect();
        // Browsers open few connections to one host; hidden tabs close theirs.
        document.addEventListener('visibilitychange', () => {
            if (document.hidden) this.#disconnect();
            else if (!this.source) this.#connect();
        });
        addEventListener('pagehide', () => this.#disconnect());
        addEventListener('pageshow', () => {
            if (!this.source) this.#connect();
        });
    }

    #connect() {
        clearTimeout(this.retry);
        const source = new EventSource('/received/stream');
        this.source = source;
        source.addEventListener('open', () => this.onState('open'));
        source.addEventListener('change', (event) => this.onSummary(JSON.parse(event.data)));
        source.addEventListener('error', () => {
            this.onState('lost');
            // The browser retries a lost connection, but not a refused connection.
            if (source.readyState !== EventSource.CLOSED) return;
            this.#disconnect();
            this.retry = setTimeout(() => this.#connect(), retryAfter);
        });
    }

    #disconnect() {
        clearTimeout(this.retry);
        this.source?.close();
        this.source = null;
    }
}
