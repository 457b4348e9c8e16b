// Starts the programs that the page's tests and pictures need, and makes envelopes for them.

import {spawn} from 'node:child_process';
import {once} from 'node:events';
import {mkdtemp, rm, writeFile} from 'node:fs/promises';
import {tmpdir} from 'node:os';
import {join} from 'node:path';
import {createInterface} from 'node:readline';
import {randomUUID} from 'node:crypto';

export const examples = process.env.ZENTARA_EXAMPLES;

/// A collector on a free port, or on `port`.
export async function startCollector({port = 0} = {}) {
    const child = spawn(process.env.ZENTARA_COLLECTOR,
        ['--port', String(port), '--no-https', '--schemas', join(examples, 'schemas'), '--quiet'],
        {stdio: ['ignore', 'pipe', 'inherit']});
    const ended = once(child, 'exit');
    const lines = createInterface({input: child.stdout});
    const [line] = await Promise.race([
        once(lines, 'line'), ended.then(([code]) => { throw new Error(`the collector ended with ${code}`); }),
    ]);
    const url = /^listening (http:\S+)/.exec(line)[1].replace(/\/$/, '');
    const call = async (method, path, body) => {
        const response = await fetch(url + path, {
            method, body, headers: body ? {'Content-Type': 'application/json', Cookie: 'GST=guest-1'} : {},
        });
        return {status: response.status, body: await response.json()};
    };
    return {
        url,
        get: async (path) => (await call('GET', path)).body,
        post: (envelope) => call('POST', '/event',
            typeof envelope === 'string' ? envelope : JSON.stringify(envelope)),
        clear: () => call('DELETE', '/received'),
        stop: async () => {
            child.kill();
            await ended;
        },
    };
}

/// Sends a file of events, or these `lines`, with zentara-track through the library. Ends when all
/// are delivered.
export async function track(url, {lines, options = []} = {}) {
    const documents = await mkdtemp(join(tmpdir(), 'zentara-web-'));
    let file = join(examples, 'events.jsonl');
    if (lines) await writeFile(file = join(documents, 'lines.jsonl'), lines.join('\n'));
    const child = spawn(process.env.ZENTARA_TRACK, ['--tenant', 'demo', '--collector', url,
        '--documents', documents, '--bundle-id', 'com.example.web', ...options, file], {stdio: 'ignore'});
    const [code] = await once(child, 'exit');
    await rm(documents, {recursive: true});
    // 1 says that the library refused events: some of the examples are wrong on purpose.
    if (code !== 0 && code !== 1) throw new Error(`zentara-track ended with ${code}`);
}

let sequence = 0;

export function action(properties, {id = 'page-view', version = '1', ...members} = {}) {
    sequence += 1;
    return {
        id, version, url: 'https://shop.example/a', contentType: 'application/json', properties,
        actionTs: Date.now(), zentaraClientVersion: '3.3.0', zentaraClientReferer: '', zentaraRelationId: null,
        zentaraClientContextID: 'context-1', zentaraActionSequence: sequence, zentaraActionUUID: randomUUID(),
        zentaraActionExtraAttributes: '', ...members,
    };
}

export function envelope(actions, members = {}) {
    return {
        zentaraClientUUID: 'client-1', zentaraClientTenant: 'shop', zentaraClientType: 'mobile',
        zentaraClientDeviceGroup: 'iOS', zentaraEnvironment: 'app', zentaraClientTs: Date.now(), actions,
        zentaraDispatchNumber: 1, zentaraActionCounter: 1, ...members,
    };
}
