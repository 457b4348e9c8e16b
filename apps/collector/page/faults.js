// Shows the current faults of the services, and sets them.

import * as api from './api.js';
import {button, byId, element, openDialog} from './dom.js';
import {count, duration, plural, shortened} from './format.js';

const pace = 1000;  // ms between two requests of the faults

const answers = {
    normal: 'as usual', status: 'a status', none: 'no answer', dropped: 'connection dropped',
    lost: 'lost after it took effect', truncated: 'half of the answer',
    garbage: 'an answer that is not JSON', 'not-http': 'bytes that are not HTTP',
};

/// `settings` are those that differ from a status 503 for every request.
const presets = [
    {name: 'Collector away: 503 for all', service: 'all', settings: {}},
    {name: 'Slow: 2 s delay for all', service: 'all', settings: {answer: 'normal', latency: 2000}},
    {name: 'One in ten posts lost', service: 'event', settings: {answer: 'lost', rate: 0.1}},
    {name: 'Too many requests: 429, Retry-After 5 s', service: 'event', settings: {status: 429, retryAfter: 5}},
];

const usual = {answer: 'status', status: 503, rate: 1, times: null, latency: 0, readingPace: null};

function isOn({service, settings}, switches) {
    const wanted = JSON.stringify({...usual, ...settings});
    return Object.entries(switches).every(([name, fault]) =>
        (service === 'all' || service === name ? JSON.stringify(fault) === wanted : fault === null));
}

function describe(fault) {
    const parts = [];
    if (fault.answer === 'status') parts.push(`status ${fault.status}`);
    else if (fault.answer !== 'normal') parts.push(answers[fault.answer] ?? fault.answer);
    if (typeof fault.retryAfter === 'number') parts.push(`Retry-After ${plural(fault.retryAfter, 'second')}`);
    if (fault.latency > 0) parts.push(`${duration(fault.latency)} late`);
    if (fault.readingPace) parts.push(`reads ${count(fault.readingPace)} bytes a second`);
    if (fault.rate < 1) parts.push(`${Math.round(fault.rate * 1000) / 10} % of requests`);
    if (typeof fault.times === 'number') parts.push(`${plural(fault.times, 'time')} more`);
    return parts.join(', ') || 'on, without an effect';
}

export class Faults {
    constructor() {
        this.switches = {};
        this.forms = new Map();
        for (const id of ['openFaults', 'faultOn']) byId(id).addEventListener('click', () => this.open());
        byId('faultsOff').addEventListener('click', () => this.#change(() => api.clearFaults()));
        this.presets = presets.map((preset) => ({preset, node: button(preset.name, {
            'aria-pressed': 'false', onclick: () => this.#change(() => this.#toggle(preset))})}));
        byId('faultPresets').append(...this.presets.map(({node}) => node));
    }

    open() {
        byId('faultProblem').hidden = true;
        for (const form of this.forms.values()) form.fill();
        openDialog(byId('faultsDialog'));
        this.look();
    }

    /// Requests the faults soon. Further calls until then have no effect.
    async look() {
        if (this.looking) {
            this.wanted = true;
            return;
        }
        this.looking = true;
        this.wanted = false;
        try {
            this.#show(await api.faults());
        } catch {
            // The next change requests them again.
        }
        setTimeout(() => {
            this.looking = false;
            if (this.wanted) this.look();
        }, pace);
    }

    showMet(met) {
        const entries = Object.entries(met);
        const items = entries.slice(0, 50).map(([what, times]) =>
            element('li', {}, `${shortened(what, 120)}: ${plural(times, 'time')}`));
        byId('faultsMet').replaceChildren(...(items.length === 0 ? [] :
            [element('h3', {}, 'Met so far'), element('ul', {}, ...items)]));
    }

    #show(switches) {
        this.switches = switches;
        for (const {preset, node} of this.presets) node.setAttribute('aria-pressed', String(isOn(preset, switches)));
        const on = Object.entries(switches).filter(([, fault]) => fault !== null);
        const pill = byId('faultOn');
        pill.hidden = on.length === 0;
        pill.textContent = `Fault on: ${on.map(([service, fault]) => `${service} ${describe(fault)}`).join('; ')}`;
        pill.title = pill.textContent;
        for (const service of Object.keys(switches)) {
            if (this.forms.has(service)) continue;
            const form = this.#form(service);
            this.forms.set(service, form);
            byId('faultForms').append(form.node);
            form.fill();
        }
        for (const form of this.forms.values()) form.tell();
    }

    /// A preset replaces all faults. If it is on, it ends.
    async #toggle(preset) {
        const wasOn = isOn(preset, await api.faults());
        const cleared = await api.clearFaults();
        return wasOn ? cleared : api.setFault(preset.service, {...usual, ...preset.settings});
    }

    async #change(change) {
        const problem = byId('faultProblem');
        try {
            this.#show(await change());
            problem.hidden = true;
            for (const form of this.forms.values()) form.fill();
        } catch (error) {
            problem.textContent = `The fault was not switched: ${error.message}`;
            problem.hidden = false;
        }
    }

    #form(service) {
        const field = (text, attributes) => {
            const input = element('input', {type: 'number', ...attributes});
            return {input, label: element('label', {}, text, input)};
        };
        const answer = element('select', {}, ...Object.entries(answers).map(([value, text]) =>
            element('option', {value}, text)));
        const status = field('Status', {min: 200, max: 599});
        const rate = field('Share, %', {min: 0, max: 100, step: 'any'});
        const times = field('Times', {min: 1, placeholder: 'always'});
        const latency = field('Latency, ms', {min: 0, max: 600000});
        const readingPace = field('Reading, bytes/s', {min: 1, placeholder: 'at once'});
        const retryAfter = field('Retry-After, s', {min: 0, max: 86400, placeholder: 'none'});
        const state = element('span', {class: 'faultState', role: 'status'});
        const whole = ({input}) => (input.value === '' ? null : Number(input.value));
        const read = () => ({
            answer: answer.value, status: whole(status) ?? 503, rate: (whole(rate) ?? 100) / 100,
            times: whole(times), latency: whole(latency) ?? 0, readingPace: whole(readingPace),
            ...(whole(retryAfter) === null ? {} : {retryAfter: whole(retryAfter)}),
        });
        const turnOff = button('Off', {'aria-label': `Switch the fault of ${service} off`,
            onclick: () => this.#change(() => api.clearFault(service))});
        const turnOn = button('On', {class: 'turnOn', 'aria-label': `Switch the fault of ${service} on`,
            onclick: () => this.#change(() => api.setFault(service, read()))});
        const node = element('fieldset', {class: 'fault', 'data-service': service},
            element('legend', {}, element('code', {}, `/${service}`), ' ', state),
            element('label', {class: 'answer'}, 'Answer', answer), status.label, retryAfter.label, rate.label, times.label,
            latency.label, readingPace.label, element('span', {class: 'faultButtons'}, turnOff, turnOn));
        const enable = () => {
            for (const {label} of [status, retryAfter]) label.hidden = answer.value !== 'status';
        };
        answer.addEventListener('change', enable);
        const fill = () => {
            const fault = this.switches[service] ?? usual;
            answer.value = fault.answer;
            status.input.value = fault.status;
            rate.input.value = fault.rate * 100;
            times.input.value = fault.times ?? '';
            latency.input.value = fault.latency;
            readingPace.input.value = fault.readingPace ?? '';
            retryAfter.input.value = fault.retryAfter ?? '';
            enable();
            tell();
        };
        const tell = () => {
            const fault = this.switches[service];
            node.classList.toggle('on', Boolean(fault));
            state.textContent = fault ? `on: ${describe(fault)}` : 'answers as usual';
            turnOff.disabled = !fault;
        };
        return {node, fill, tell};
    }
}
