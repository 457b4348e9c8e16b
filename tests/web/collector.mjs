// Starts the programs that the page's tests and pictures need, and makes envelopes for them.

import {spawn} from 'node:child_process';
import {once} from 'node:events';
import {mkdtemp, readFile, rm} from 'node:fs/promises';
import {tmpdir} from 'node:os';
import {join} from 'node:path';
import {createInterface} from 'node:readline';
import {pathToFileURL} from 'node:url';
import {randomUUID} from 'node:crypto';
import {chromium} from 'playwright-core';

const examples = process.env.ZENTARA_EXAMPLES;
export const exampleLines = async () =>
    (await readFile(join(examples, 'events.jsonl'), 'utf8')).trim().split('\n');

export const launchBrowser = () => chromium.launch({
    executablePath: process.env.ZENTARA_CHROMIUM ?? '/usr/bin/chromium',
    args: ['--disable-gpu', ...(process.getuid() === 0 ? ['--no-sandbox'] : [])],
});

/// A collector on a free port, or on `port`.
export async function startCollector(port = 0, schemas = join(examples, 'schemas')) {
    const child = spawn(process.env.ZENTARA_COLLECTOR,
        ['--port', String(port), '--no-https', '--schemas', schemas, '--quiet'],
        {stdio: ['ignore', 'pipe', 'inherit']});
    const ended = once(child, 'exit');
    const {value: line} = await createInterface({input: child.stdout})[Symbol.asyncIterator]().next();
    const url = /^listening (http:\S+)/.exec(line)[1].replace(/\/$/, '');
    return {
        url,
        get: async (path) => (await fetch(url + path)).json(),
        /// The status of the answer.
        post: async (body, type = 'application/json') => (await fetch(`${url}/event`,
            {method: 'POST', body, headers: {'Content-Type': type, Cookie: 'GST=guest-1'}})).status,
        stop: () => child.kill('SIGKILL') && ended,
    };
}

/// A page of these schemas by zentara-schemas, without a collector. Returns its address.
export async function writeCatalogue(folder, ...schemas) {
    const file = join(folder, 'catalogue.html');
    const child = spawn(process.env.ZENTARA_SCHEMAS,
        ['catalogue', join(examples, 'schemas'), ...schemas, '--output', file, '--title', 'Events of the shop', '--scope', 'shop::events'],
        {stdio: ['ignore', 'inherit', 'inherit']});
    const [code] = await once(child, 'exit');
    if (code !== 0) throw new Error(`zentara-schemas ended with ${code}`);
    return pathToFileURL(file).href;
}

/// Sends these lines with zentara-track through the library. Ends when all are delivered.
export async function track(url, lines, options = []) {
    const documents = await mkdtemp(join(tmpdir(), 'zentara-web-'));
    const child = spawn(process.env.ZENTARA_TRACK, ['--tenant', 'demo', '--collector', url,
        '--documents', documents, '--bundle-id', 'com.example.web', ...options, '-'],
        {stdio: ['pipe', 'ignore', 'ignore']});
    child.stdin.end(lines.join('\n'));
    const [code] = await once(child, 'exit');
    await rm(documents, {recursive: true});
    // 1 says that the library refused events: some of the examples are wrong on purpose.
    if (code !== 0 && code !== 1) throw new Error(`zentara-track ended with ${code}`);
}

let sequence = 0;

export const action = (properties, {id = 'page-view', version = '1', ...members} = {}) => ({
    id, version, url: 'https://shop.example/a', contentType: 'application/json', properties,
    actionTs: Date.now(), zentaraClientVersion: '1.2.3', zentaraClientReferer: '', zentaraRelationId: null,
    zentaraClientContextID: 'context-1', zentaraActionSequence: ++sequence, zentaraActionUUID: randomUUID(),
    zentaraActionExtraAttributes: '', ...members,
});

export const badCart = () => action(
    {productId: 'HI-48992', quantity: 99, unitPrice: 5.0, currency: 'EUR', variant: {size: 'tiny'}},
    {id: 'add-to-cart'});

/// The text of an envelope with these actions.
export const envelope = (actions, members = {}) => JSON.stringify({
    zentaraClientUUID: 'client-1', zentaraClientTenant: 'shop', zentaraClientType: 'mobile',
    zentaraClientDeviceGroup: 'iOS', zentaraEnvironment: 'app', zentaraClientTs: Date.now(), actions,
    zentaraDispatchNumber: 1, zentaraActionCounter: 1, ...members,
});
