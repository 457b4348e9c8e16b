// Receives the collector's summary after each change.

import * as api from './api.js';

const retryAfter = 2000;  // ms
const hiddenPace = 2000;  // ms; a browser may make it a minute

export class Live {
    /// `onSummary(summary)`; `onHidden(summary)` from time to time while the tab is hidden;
    /// `onState(state)` with "open" or "lost".
    constructor({onSummary, onHidden, onState}) {
        Object.assign(this, {onSummary, onHidden, onState});
        this.#connect();
        // Browsers open few connections to one host; hidden tabs close theirs.
        document.addEventListener('visibilitychange', () => {
            clearInterval(this.looking);
            if (document.hidden) {
                this.#disconnect();
                this.looking = setInterval(() => this.#look(), hiddenPace);
            } else if (!this.source) {
                this.#connect();
            }
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

    async #look() {
        const summary = await api.summary().catch(() => null);
        if (summary && document.hidden) this.onHidden(summary);
    }

    #disconnect() {
        clearTimeout(this.retry);
        this.source?.close();
        this.source = null;
    }
}
