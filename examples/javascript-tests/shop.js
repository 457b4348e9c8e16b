// A small shop that tells what its users do. It posts envelopes itself, as a page in a browser does.

import {randomUUID} from 'node:crypto';

export class Tracker {
    #url;
    #tenant;
    #client = randomUUID();
    #context = randomUUID();
    #waiting = [];
    #sequence = 0;
    #dispatches = 0;

    constructor(url, tenant) {
        this.#url = url;
        this.#tenant = tenant;
    }

    track(id, version, properties) {
        this.#waiting.push({
            id, version, properties, url: 'https://shop.example/', contentType: 'application/json',
            actionTs: Date.now(), zentaraClientVersion: '1.0.0', zentaraClientReferer: '',
            zentaraRelationId: null, zentaraClientContextID: this.#context,
            zentaraActionSequence: ++this.#sequence, zentaraActionUUID: randomUUID(),
            zentaraActionExtraAttributes: '',
        });
    }

    /// Whether all events were accepted. Otherwise they wait for the next call.
    async flush() {
        const actions = [...this.#waiting];
        if (actions.length === 0) return true;
        const body = JSON.stringify({
            zentaraClientUUID: this.#client, zentaraClientTenant: this.#tenant,
            zentaraClientType: 'mobile', zentaraClientDeviceGroup: 'iOS', zentaraEnvironment: 'app',
            zentaraClientTs: Date.now(), actions, zentaraDispatchNumber: ++this.#dispatches,
            zentaraActionCounter: actions.length,
        });
        try {
            const answer = await fetch(`${this.#url}/event`,
                {method: 'POST', body, headers: {'Content-Type': 'application/json'}});
            if (!answer.ok) return false;
            await answer.arrayBuffer();
        } catch {
            return false;
        }
        this.#waiting.splice(0, actions.length);
        return true;
    }
}

export class Shop {
    #tracker;
    #total = 0;

    constructor(tracker) {
        this.#tracker = tracker;
    }

    open(title, section) {
        this.#tracker.track('page-view', '1', {title, section, language: 'en'});
    }

    addToCart(productId, unitPrice, quantity) {
        this.#total += unitPrice * quantity;
        this.#tracker.track('add-to-cart', '1', {
            productId, quantity, unitPrice, currency: 'EUR', cartTotal: this.#total.toFixed(2),
        });
    }
}
