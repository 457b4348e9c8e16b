// Runs a collector for a test suite, in node. process.d.ts documents it.

import {spawn} from 'node:child_process';
import {once} from 'node:events';
import {createInterface} from 'node:readline';
import {CollectorClient, CollectorError} from './client.js';

export class CollectorProcess {
    #child;
    #ended;
    url;

    static async start(schemas, {options = [], program} = {}) {
        const collector = new CollectorProcess();
        await collector.#start(program ?? process.env.ZENTARA_COLLECTOR ?? 'zentara-collector',
            ['--port', '0', '--no-https', '--quiet', '--schemas', schemas, ...options]);
        return collector;
    }

    async #start(program, options) {
        this.#child = spawn(program, options, {stdio: ['ignore', 'pipe', 'inherit']});
        this.#ended = once(this.#child, 'close');
        const lines = createInterface({input: this.#child.stdout});
        const ended = this.#ended.then(([code]) => {
            throw new CollectorError(`${program} ended with ${code}`);
        });
        const [line] = await Promise.race([once(lines, 'line'), ended]);
        this.url = line.split(' ')[1];
    }

    client() {
        return new CollectorClient(this.url);
    }

    async stop() {
        this.#child.kill();
        const [code] = await this.#ended;
        return code;
    }
}
