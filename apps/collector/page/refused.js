// Shows the posts that the collector has refused.

import * as api from './api.js';
import {byId, element, openDialog, setText} from './dom.js';
import {count, isoTime, plural, shortTime, shortened} from './format.js';
import {text} from './json.js';

const pace = 1000;  // ms between two requests
const mostShown = 50;

export class Refused {
    /// `onChange()` is called when `latest`, the latest refused post in full, has changed.
    constructor({onChange}) {
        this.onChange = onChange;
        this.latest = [];
        this.known = '';  // the request for `latest`
        byId('refused').addEventListener('click', () => this.open());
    }

    open() {
        openDialog(byId('refusedDialog'));
    }

    showSummary({refused = 0, resets, started}) {
        const pill = byId('refused');
        pill.hidden = refused === 0;
        setText(pill, `${count(refused)} refused`);
        this.wanted = `${started} ${resets} ${refused}`;
        if (!this.looking) this.#look();
    }

    async #look() {
        this.looking = true;
        while (this.wanted !== this.known) {
            this.known = this.wanted;
            try {
                this.latest = (await api.refusedPosts(mostShown)).requests;
                this.#draw();
                this.onChange();
            } catch (error) {
                setText(byId('refusedHint'), `The refused posts cannot be read: ${error.message}`);
            }
            await new Promise((resolve) => setTimeout(resolve, pace));
        }
        this.looking = false;
    }

    #draw() {
        const shown = this.latest.length;
        setText(byId('refusedHint'), 'None of their events was stored. Each answer named the reason.' +
            (shown === mostShown ? ` The latest ${mostShown}:` : ''));
        byId('refusedList').replaceChildren(...this.latest.map(refusedPost));
    }
}

/// A refused post with the reason and the beginning of its body.
export function refusedPost({receivedAt, method, target, status, reason = '', bodySize, body = ''}) {
    const isCut = new Blob([body]).size < bodySize;
    return element('article', {class: 'refusedPost'},
        element('p', {}, element('span', {class: 'badge bad'}, String(status)), ' ',
            element('code', {}, shortened(`${method} ${target}`, 200)), ' ',
            element('time', {datetime: isoTime(receivedAt), title: isoTime(receivedAt)}, shortTime(receivedAt))),
        element('p', {class: 'reason'}, shortened(reason, 2000)),
        body === '' ? null : element('pre', {tabindex: 0, 'aria-label': 'Body'}, text(body, 'body', {form: String})),
        body === '' || isCut ? element('p', {class: 'hint'}, bodySize === 0 ? 'It had no body.'
            : `Kept of its ${plural(bodySize, 'byte')}: ${body === '' ? 'nothing' : 'the beginning'}.`) : null);
}
