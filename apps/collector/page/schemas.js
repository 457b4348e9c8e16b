// Shows what the check of the schemas finds.

import * as api from './api.js';
import {byId, element, openDialog, setChildren, setText} from './dom.js';
import {count, plural, shortened} from './format.js';

const mostShown = 200;

export class Schemas {
    constructor() {
        this.state = '';  // of the schemas, as the dialog should show it
        byId('schemaFindings').addEventListener('click', () => {
            openDialog(byId('schemasDialog'));
            this.#look();
        });
    }

    showSummary({schemas, started}) {
        const {faults, warnings, problems, revision} = schemas;
        const parts = [
            problems > 0 ? `${count(problems)} left out` : '',
            faults > 0 ? plural(faults, 'fault') : '', warnings > 0 ? plural(warnings, 'warning') : '',
        ].filter((part) => part !== '');
        const pill = byId('schemaFindings');
        pill.hidden = parts.length === 0;
        pill.classList.toggle('refused', problems + faults > 0);
        setText(pill, `Schemas: ${parts.join(', ')}`);
        const state = `${started} ${revision}`;
        if (byId('schemasDialog').open && state !== this.state) this.#look();
        this.state = state;
    }

    async #look() {
        try {
            this.#show(await api.schemas());
        } catch (error) {
            setChildren(byId('schemasList'), element('p', {class: 'problem'},
                `The findings cannot be read: ${error.message}`));
        }
    }

    #show({schemas, problems}) {
        const all = schemas.flatMap(({id, version, path, findings}) =>
            findings.map((finding) => ({...finding, schema: `${id}-${version}`, path})));
        const isFault = ({severity}) => severity === 'fault';
        const sorted = [...all.filter(isFault), ...all.filter((finding) => !isFault(finding))];
        setChildren(byId('schemasList'),
            all.length + problems.length === 0 ? element('p', {}, 'The check finds nothing.') : null,
            ...problems.map((problem) => element('article', {class: 'finding bad'},
                element('p', {}, element('span', {class: 'badge bad'}, 'left out'), ' ', shortened(problem, 2000)))),
            ...sorted.slice(0, mostShown).map((finding) => element('article', {class: isFault(finding) ? 'finding bad' : 'finding'},
                element('p', {}, element('span', {class: `badge ${isFault(finding) ? 'bad' : 'duplicate'}`}, finding.rule),
                    ' ', element('strong', {}, shortened(finding.schema, 120)), ' ',
                    element('code', {class: 'hint', title: finding.path},
                        shortened(`${finding.pointer} ${finding.line}:${finding.column}`.trim(), 300))),
                element('p', {}, shortened(finding.reason, 2000)),
                element('p', {class: 'hint'}, shortened(finding.advice, 2000)))),
            sorted.length > mostShown ? element('p', {class: 'hint'}, `and ${sorted.length - mostShown} more`) : null);
    }
}
