// The collector's page in a real browser, with a real collector.

import assert from 'node:assert/strict';
import {after, afterEach, beforeEach, test} from 'node:test';
import {execFileSync} from 'node:child_process';
import {mkdtemp, readFile, rm, writeFile} from 'node:fs/promises';
import {tmpdir} from 'node:os';
import {join} from 'node:path';
import {action, badCart, envelope, exampleLines, launchBrowser, startCollector, track} from './collector.mjs';

const goodPage = (title) => action({title, section: 'home', language: 'en'});
const browser = await launchBrowser();
after(() => browser.close());
let page, collector, troubles;

/// A page whose errors, refused contents and requests to elsewhere are troubles.
beforeEach(async () => {
    collector = await startCollector();
    page = await browser.newPage({viewport: {width: 1440, height: 900}});
    page.setDefaultTimeout(15_000);
    troubles = [];
    page.on('pageerror', (error) => troubles.push(`error: ${error.stack}`));
    page.on('console', (line) => troubles.push(`console: ${line.text()}`));
    page.on('request', (request) => {
        if (new URL(request.url()).origin !== collector.url) troubles.push(`request: ${request.url()}`);
    });
});
afterEach(async () => {
    await page.close();
    await collector.stop();
    assert.deepEqual(troubles, []);
});

const send = async (...actions) => assert.equal(await collector.post(envelope(actions)), 200);
/// Opens the page when these actions have been sent, each list in an envelope of its own.
async function openAfter(...envelopes) {
    for (const actions of envelopes) await send(...actions);
    await page.goto(collector.url);
}
const until = (predicate, argument) => page.waitForFunction(predicate, argument);
const hasText = (selector, text) =>
    until(([from, what]) => document.querySelector(from)?.textContent.includes(what), [selector, text]);
const rowOf = (number) => page.locator(`#row${number}`);
/// Waits until exactly these rows are shown, from the top.
const hasRows = (...numbers) => until((wanted) => [...document.querySelectorAll('.rows .row[id]')]
    .sort((one, other) => one.ariaRowIndex - other.ariaRowIndex)
    .map((row) => row.id.slice('row'.length)).join() === wanted, numbers.join());
const press = async (...keys) => { for (const key of keys) await page.keyboard.press(key); };
const button = (name) => page.getByRole('button', {name});
const received = (question) => collector.get(`/received/${question}`);

test('events appear as the library delivers them, until they are paused or cleared', async () => {
    const policy = (await page.goto(collector.url)).headers()['content-security-policy'];
    assert.ok(policy.startsWith("default-src 'none'; script-src 'self'"));
    assert.equal((await received('summary')).requests, 0, 'the page is not recorded');
    await track(collector.url, await exampleLines());
    const summary = await received('summary');
    await page.locator(`#row${summary.lastNumber}[aria-rowindex="2"]`).waitFor();
    for (const name of ['Events', 'Good', 'Bad', 'Missing']) {
        await until(([from, all]) => document.getElementById(from).textContent.replace(/\D/g, '') === all,
            [`count${name}`, String(summary[name.toLowerCase()])]);
    }
    await press('p');
    await send(goodPage('two'), goodPage('three'));
    await hasText('#pauseLabel', '2 new');
    assert.equal(await rowOf(summary.lastNumber + 1).count(), 0);
    await press('p');
    await rowOf(summary.lastNumber + 2).waitFor();
    await page.click('#openClear');
    await page.click('#clearNow');
    await hasText('#empty', 'Waiting for the first event');
    assert.equal((await received('summary')).events, 0);
});

test('filters live in the address and can be shared', async () => {
    await openAfter([goodPage('Tents'), goodPage('Shoes'), badCart()], [goodPage('More tents')]);
    const places = await page.locator('.filterRow :is(input, button, select)').evaluateAll(
        (all) => all.map((one) => one.getBoundingClientRect().x));
    assert.deepEqual(places, places.toSorted((one, other) => one - other), 'tabs go from left to right');
    await page.selectOption('#filterSchema', 'page-view-1');
    await page.fill('#filterText', 'tents MORE');
    await hasRows(4);
    await page.fill('#filterText', 'TENTS');
    await hasRows(4, 1);
    await page.click('#row1');
    await page.locator('#panel').getByText('context-1').first().waitFor();
    assert.equal(new URL(page.url()).search, '?schema=page-view-1&words=TENTS&open=1');
    await page.reload();
    await page.locator('#row1[aria-selected=true]').waitFor();
    await hasRows(4, 1);
    await page.locator('#panel .filterBy', {hasText: 'context-1'}).click();
    await until(() => location.search.includes('context=context-1'));
    await button('Remove filter: schema page-view-1').click();
    await page.locator('[data-tile=bad]').click();
    await hasText('#empty', 'No event matches');
    await page.goBack();
    await hasRows(4, 1);
    await page.goForward();
    await button('Remove all filters').click();
    await page.selectOption('#sort', 'schema ascending');
    await hasRows(3, 1, 2, 4);
    await page.locator('#chartArea[aria-label*="4 events"]').waitFor();
    await page.locator('#chartArea').press('End');
    await hasText('#chartReadout', ' good, ');
    await press('Enter');
    await hasText('#matches', 'match');
    const {since, until: end} = Object.fromEntries(new URL(page.url()).searchParams);
    const [{receivedAt}] = (await received('events?text=More')).events;
    assert.ok(Number(since) <= receivedAt && receivedAt < Number(end));
});

test('filters and columns of properties live in the address', async () => {
    const evil = `<img src=x onerror="hacked=1">='"\u202e`;
    const cart = (size, extra) => action({variant: {size}, quantity: '5.0', ...extra}, {id: 'add-to-cart'});
    const body = envelope([cart('L'), cart('M', {[evil]: evil}), cart('L', {empty: ''}), goodPage('none')]);
    assert.equal(await collector.post(body.replaceAll('"5.0"', '5.0')), 200);
    await page.goto(collector.url);
    await page.click('#toggleMore');
    const enter = async (field, text) => {
        await page.fill(field, text);
        await press('Enter');
        assert.equal(await page.inputValue(field), '');
    };
    const cells = () => page.locator('.rows .property').allTextContents();
    await enter('#addColumn', 'variant.size');
    await enter('#addColumn', 'quantity');
    await hasRows(4, 3, 2, 1);
    assert.deepEqual(await cells(), ['—', '—', 'L', '5.0', 'M', '5.0', 'L', '5.0']);
    await enter('#filterProperty', 'variant.size = L');
    await enter('#filterProperty', 'empty=');
    await hasRows(3);
    assert.equal(new URL(page.url()).search,
        '?property.variant.size=L&property.empty=&column=variant.size&column=quantity');
    await page.reload();
    await hasRows(3);
    assert.deepEqual(await page.locator('.property').allTextContents(), ['variant.size', 'quantity', 'L', '5.0']);
    for (const name of ['column: quantity', 'filter: variant.size = L', 'filter: empty = ']) {
        await button(`Remove ${name}`).click();
    }
    await hasRows(4, 3, 2, 1);
    assert.equal(new URL(page.url()).search, '?column=variant.size');

    await page.click('#row2');
    await page.getByRole('combobox', {name: 'Property'}).selectOption(evil);
    await button('Show the property as a column').click();
    await button('Show only events with this value').click();
    await hasRows(2);
    assert.deepEqual(await cells(), ['M', evil.replace('\u202e', '\\u202e')]);
    assert.equal(new URL(page.url()).searchParams.get(`property.${evil}`), evil);
    assert.equal(await page.evaluate(() => window.hacked), undefined);
});

test('a replayed event has the same properties', async () => {
    const evil = `'"$HOME\`id\`$(id)\\'\\''!x%s%n\n\r\t\u001b[201~\u0085\u2028é😀\\u0027`;
    const schemas = await mkdtemp(join(tmpdir(), 'zentara-replay-'));
    await writeFile(join(schemas, 'any-1.json'), '{"type": "object"}');
    await collector.stop();
    collector = await startCollector(0, schemas);
    const hostile = (long) => action({[evil]: [evil, {['__proto__']: evil}, null, true], long, number: 'exactly'},
        {id: 'any', url: 'https://shop.example/é', zentaraClientReferer: 'https://from.example/'});
    const body = envelope([hostile(''), hostile(evil.repeat(8000))], {zentaraClientTenant: evil})
        .replaceAll('"exactly"', '[5.0,12345678901234567890,1e-7]');
    const headers = {'Content-Type': 'application/json', Cookie: `GST=o'"$HOME\`id\`\\'`};
    assert.equal((await fetch(`${collector.url}/event`, {method: 'POST', body, headers})).status, 200);
    await page.context().grantPermissions(['clipboard-read', 'clipboard-write']);
    /// The properties as the collector's text has them, and what else must be the same.
    const stored = async (number) => {
        const text = await (await fetch(`${collector.url}/received/events?after=${number - 1}&limit=1`)).text();
        const {tenant, user, event: {url, zentaraClientReferer}} = JSON.parse(text).events[0];
        return [[/"properties":(.*),"actionTs"/s.exec(text)[1], url, zentaraClientReferer], tenant, user];
    };
    const copy = async (what) => {
        await button(`Copy ${what}`).click();
        await hasText('#toast', `Copied ${what}`);
        const text = await page.evaluate(() => navigator.clipboard.readText());
        assert.match(text, /^[ -~]+$/);
        return text;
    };
    let last = 2;
    for (const number of [1, 2]) {
        await page.goto(`${collector.url}/?open=${number}`);
        await page.getByRole('tab', {name: 'Envelope'}).click();
        await page.locator('.json').waitFor();
        const expected = await stored(number);
        const command = await copy('the command that posts it again');
        for (const shell of ['sh', 'bash']) {
            assert.equal(execFileSync(shell, {input: `${command} -sf\n`, encoding: 'utf8'}), '{"received":1}');
            assert.deepEqual(await stored(last += 1), expected);
        }
        const line = await copy('the line for zentara-track');
        assert.equal(line.includes("'"), false);
        await track(collector.url, [line]);
        assert.deepEqual((await stored(last += 1))[0], expected[0]);
    }
    await rm(schemas, {recursive: true});
});

test('the view is exported as the queries give it', async () => {
    const big = action({section: 'home', big: 'x'.repeat(600_000)});
    for (let sent = 0; sent < 4; sent += 1) await send(goodPage('é'), badCart(), big);
    await page.goto(`${collector.url}/?property.section=home&sort=schema`);
    await hasText('#matches', '8 events');
    const [download] = await Promise.all([page.waitForEvent('download'), page.click('#export')]);
    assert.equal(download.suggestedFilename(), 'events.jsonl');
    const lines = (await readFile(await download.path(), 'utf8')).trimEnd().split('\n');
    const answer = await (await fetch(`${collector.url}/received/events?property.section=home`)).text();
    assert.equal(`{"total":8,"offset":0,"events":[${lines.join()}]}`, answer);
});

test('the title counts bad events, in a hidden tab too', async () => {
    await page.clock.install();
    await openAfter([badCart()]);
    await until(() => document.title === '(1 bad) Zentara collector');
    await page.evaluate(() => {
        Object.defineProperty(document, 'hidden', {value: true});
        document.dispatchEvent(new Event('visibilitychange'));
    });
    await send(badCart());
    await page.clock.runFor(2000);
    await until(() => document.title === '(2 bad) Zentara collector');
});

test('an empty list asks once, a chart keeps pace', async () => {
    let questions = 0;
    page.on('request', (request) => { questions += request.url().includes('/received/events') ? 1 : 0; });
    const chartHas = (count) => page.locator(`#chartArea[aria-label*=": ${count}"]`).waitFor();
    await page.clock.install();
    await openAfter();
    await hasText('#empty', 'Waiting for the first event');
    await page.clock.pauseAt(Date.now() + 60_000);
    await chartHas('none');
    for (let sent = 1; sent <= 5; sent += 1) {
        await send(goodPage('one'));
        await hasText('#countEvents', String(sent));
        await page.clock.runFor(1000);
        await chartHas(`${sent} event`);
    }
    await page.click('[data-tile=bad]');
    await chartHas('none');
    await page.clock.runFor(1000);
    await hasText('#empty', 'No event matches');
    questions = 0;
    for (let second = 0; second < 3; second += 1) await page.clock.runFor(1000);
    assert.equal(questions, 0);
});

test('the panel shows a bad event with its messages, its envelope and its request', async () => {
    const lacking = action({productId: 'HI-48992', unitPrice: 5}, {id: 'add-to-cart'});
    await openAfter([lacking, badCart()], [goodPage('after')]);
    await rowOf(3).waitFor();
    await press('j', 'j', 'Enter');
    await page.locator('#row2[aria-selected=true]').waitFor();
    const [{messages}] = (await received('events?good=false&after=1')).events;
    for (const [key, place] of [['"quantity"', '/quantity'], ['"size"', '/variant/size']]) {
        const {message} = messages.find(({path}) => path === place);
        const line = page.locator('.jsonLine.marked', {hasText: key});
        assert.equal(await line.locator('xpath=following-sibling::*[1]').textContent(), message);
        assert.ok(await page.locator('.messages', {hasText: message}).isVisible());
    }
    await page.getByRole('tab', {name: 'Envelope'}).click();
    await page.locator('.json', {hasText: '"zentaraClientTenant": "shop"'}).waitFor();
    await press('ArrowRight');
    await page.locator('.json', {hasText: 'GST=guest-1'}).waitFor();
    await press('k');
    await until(() => location.search.includes('open=3'));
    await press('j', 'j');
    await page.locator('#row1[aria-selected=true]').waitFor();
    assert.equal(await rowOf(1).locator('.messagePath').textContent(), 'quantity, currency');
    assert.deepEqual(await page.locator('.messages mark').allTextContents(), ['"quantity"', '"currency"']);
    await page.setViewportSize({width: 320, height: 640});
    assert.deepEqual(await page.locator(':is(button, input, select):visible').evaluateAll((all) => all
        .filter((one) => Math.min(one.offsetWidth, one.offsetHeight) < 24).map((one) => one.outerHTML)), []);
});

test('refused posts show their reason and body', async () => {
    await openAfter();
    assert.equal(await collector.post('{}', 'text/plain'), 415);
    assert.equal(await collector.post('{"first":'), 400);
    await hasText('#empty', '{"first":');
    await send(goodPage('one'));
    assert.equal(await collector.post('{"second": []}'), 422);
    await button('3 refused').click();
    await hasText('#refusedList pre', 'second');
    const {requests} = await received('requests?refused=true&order=descending');
    const shown = (part) => page.locator(`#refusedList ${part}`).allTextContents();
    assert.deepEqual(await shown('.reason'), requests.map(({reason}) => reason));
    assert.deepEqual(await shown('pre'), ['{"second": []}', '{"first":', '{}']);
    assert.equal((await received('summary')).envelopes, 1);
});

test('the schemas show their properties and the messages of bad events', async () => {
    const evil = '<img src=x onerror="window.hacked=1">';
    await openAfter([goodPage('Tents'), goodPage('Shoes'), badCart(), badCart(),
        action({title: 'Tents', section: 'home', [evil]: {deep: [evil, 5]}}), action({}, {id: evil})]);
    await page.click('#openSchemas');
    const view = page.locator('#schemasList');
    const texts = (table) => view.getByRole('table', {name: table}).locator('tbody tr').evaluateAll((rows) =>
        rows.map((row) => [...row.cells].map((cell) => cell.textContent.trim())));
    await view.getByRole('button', {name: `${evil}-1`, exact: true}).click();
    await view.getByText('The schema does not tell').waitFor();
    await page.click('#schemasBack');
    await view.getByRole('button', {name: 'page-view-1', exact: true}).click();
    await view.getByText('All 3 events').waitFor();
    const shown = await texts('Properties');
    const row = (name) => shown.find(([first]) => first.startsWith(name));
    assert.deepEqual(row('title'), ['title required', '100 %', 'string 3×', '"Tents" 2×"Shoes" 1×']);
    assert.deepEqual(row('loadMs'), ['loadMs never sent', '0 %', '', '']);
    assert.deepEqual(row(`${evil}.deep.*`), [`${evil}.deep.* not in the schema`, '33.3 %',
        'integer 1×, string 1×', `5 1×${JSON.stringify(evil)} 1×`]);
    await view.getByRole('button', {name: '"Shoes"'}).click();
    await hasRows(2);
    assert.equal(new URL(page.url()).search, '?schema=page-view-1&property.title=Shoes');
    await page.click('#openSchemas');
    const {groups} = await received('messages');
    await view.getByRole('table', {name: 'Bad events by message'}).waitFor();
    assert.deepEqual((await texts('Bad events by message')).map(([, schema, events]) => [schema, Number(events)]),
        groups.map(({schema, count}) => [schema, count]));
    const {message} = groups.find(({schema, count}) => schema === 'add-to-cart-1' && count === 2);
    await view.getByRole('button', {name: message, exact: true}).click();
    await hasRows(4, 3);
    assert.equal(new URL(page.url()).searchParams.get('message'), message);
    assert.equal(await page.evaluate(() => window.hacked), undefined);
});

test('whatever an event holds is text', async () => {
    const evil = (mark) =>
        `\u202e</script><img src=x onerror="window.hacked='${mark}'"><script>window.hacked=1;alert(1)</script>`;
    const evils = (...names) => Object.fromEntries(names.map((name) => [name, evil(name)]));
    const hostile = action({
        title: evil('title'), price: '5.0',
        [evil('key')]: [evil('list'), {href: 'javascript:alert(1)', ['__proto__']: evil('deep')}],
    }, {
        ...evils('id', 'version', 'contentType', 'zentaraClientVersion', 'zentaraClientReferer',
            'zentaraRelationId', 'zentaraClientContextID', 'zentaraActionExtraAttributes'),
        url: 'javascript:alert(2)//' + evil('url'), zentaraActionUUID: `../../${evil('uuid')}`,
    });
    const skipped = {...hostile, zentaraActionSequence: 1000, zentaraActionUUID: evil('other')};
    const members = evils('zentaraClientUUID', 'zentaraClientTenant', 'zentaraClientType',
        'zentaraClientDeviceGroup', 'zentaraEnvironment');
    // Numbers that JavaScript does not keep are shown as they were sent.
    const body = envelope([hostile, hostile, skipped], members).replaceAll('"5.0"', '5.0');
    assert.equal(await collector.post(body), 200);
    await page.goto(`${collector.url}/?schema=${encodeURIComponent(evil('filter'))}`);
    await button('Remove all filters').click();
    await page.click('#row2');
    await page.locator('#panel').getByText('This action arrived 2 times').waitFor();
    const shown = await page.locator('.json').textContent();
    assert.ok(shown.includes(JSON.stringify(evil('title')).replace('\u202e', '\\u202e')));
    assert.ok(shown.includes('"price": 5.0,'));
    for (const tab of ['Envelope', 'Request', 'Event']) {
        await page.getByRole('tab', {name: tab}).click();
        await page.locator('.json').waitFor();
    }
    await page.locator('.filterBy', {hasText: 'context'}).first().click();
    await page.locator('.chip').first().waitFor();
    await page.click('#countMissing');
    await page.locator('#gapsList td').first().waitFor();
    const names = await page.locator('a, img, script').evaluateAll((all) => all.map((one) => one.localName));
    assert.deepEqual(names.sort(), ['a', 'img', 'script', 'script'], 'only its own');
    assert.equal(await page.evaluate(() => window.hacked), undefined);
    assert.equal((await page.textContent('body')).includes('\u202e'), false);
});

test('long names and many messages are shown in part', async () => {
    const long = 'n'.repeat(500_000);
    const names = Array.from({length: 300}, (_, index) => [`extra${index}`, 0]);
    await openAfter([action({[long]: {[long]: 1}, ...Object.fromEntries(names)},
        {id: 'add-to-cart', url: `https://shop.example/${'a'.repeat(1000)}`})]);
    await page.click('#row1');
    const [{messages}] = (await received('events')).events;
    assert.ok(messages.length > 300);
    await hasText('.messages li:last-child', `${messages.length - 100} more`);
    assert.equal(await page.locator('.messages button').count(), 100);
    assert.ok(await page.evaluate(() => document.body.outerHTML.length) < long.length);
    await hasText('.facts .address', '901 more characters');
    await button('499,500 more characters').first().click();
    await button('490,000 more characters').waitFor();
});

test('fifty thousand events take few elements, and the oldest can be reached', async () => {
    await openAfter();
    for (let sent = 0; sent < 50_000; sent += 5_000) {
        await send(...Array.from({length: 5_000}, (_, index) => goodPage(`page ${sent + index + 1}`)));
    }
    await rowOf(50_000).waitFor();
    await page.locator('#list').press('End');
    await hasText('#row1', 'page 1 ');
    await page.evaluate(() => { document.getElementById('list').scrollTop /= 2; });
    await rowOf(25_000).waitFor();
    assert.ok(await page.evaluate(() => document.querySelectorAll('.rows *').length) < 2000);

    const placeOf = async () => (await rowOf(25_000).boundingBox()).y;
    const place = await placeOf();
    await send(goodPage('newest'));
    await page.locator('#jump', {hasText: '1 new'}).waitFor();
    assert.equal(await placeOf(), place);
    await page.click('#jump');
    await rowOf(50_001).waitFor();

    await page.setViewportSize({width: 320, height: 640});
    assert.deepEqual(await page.locator('.tile').evaluateAll(
        (all) => all.filter((one) => one.scrollWidth > one.clientWidth).map((one) => one.textContent)), []);
    await page.setViewportSize({width: 720, height: 300});
    // The rows are made anew after the window has changed.
    await page.waitForFunction(() => {
        const row = document.getElementById('row50001')?.getBoundingClientRect();
        return row?.height > 0 && row.bottom <= 300;
    });
});

test('faults are switched and shown, and the page survives its collector', async () => {
    await openAfter([goodPage('one'), goodPage('two')]);
    await page.click('#openFaults');
    await page.locator('[data-service=event]').getByRole('spinbutton', {name: 'Status'}).fill('418');
    await button('Switch the fault of event on').click();
    await hasText('#faultOn', 'event status 418');
    assert.equal(await collector.post(envelope([])), 418);
    await button('One in ten posts lost').click();
    await hasText('#faultOn', 'Fault on: event lost after it took effect, 10 % of requests');
    await button('Too many requests').click();
    await page.locator('#faultPresets [aria-pressed=true]', {hasText: '429'}).waitFor();
    assert.equal(await collector.post(envelope([])), 429);
    assert.equal((await collector.get('/faults')).event.retryAfter, 5);
    await button('Too many requests').click();
    await until(() => document.getElementById('faultOn').hidden);
    assert.deepEqual(await collector.get('/faults'), {schemas: null, id: null, event: null});
    await page.click('#faultsOff');
    await press('Escape');

    await collector.stop();
    await hasText('#connection', 'reconnecting');
    await page.fill('#filterText', 'another');
    await hasText('#empty', 'cannot be read');
    assert.equal(await page.locator('.rows .row').count(), 0);
    collector = await startCollector(new URL(collector.url).port);
    await hasText('#toast', 'The collector was restarted');
    await send(goodPage('another'), goodPage('of as many'));
    await hasText('#connection', 'Live');
    await hasText('#row1', 'another');
    await hasRows(1);
    // Refused connections are what this test is about.
    troubles = troubles.filter((trouble) => !/ERR_(CONNECTION_RE|INCOMPLETE_CHUNKED)/.test(trouble));
});
