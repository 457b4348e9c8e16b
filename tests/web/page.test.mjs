// The collector's page in a real browser, with a real collector.

import assert from 'node:assert/strict';
import {after, afterEach, before, beforeEach, test} from 'node:test';
import {chromium} from 'playwright-core';
import {action, envelope, startCollector, track} from './collector.mjs';

const goodPage = (title) => action({title, section: 'home', language: 'en'});
const badCart = () => action(
    {productId: 'HI-48992', quantity: 99, unitPrice: 5.0, currency: 'EUR', variant: {size: 'tiny'}},
    {id: 'add-to-cart'});

let browser, context, page, collector, troubles;

before(async () => {
    browser = await chromium.launch({
        executablePath: process.env.ZENTARA_CHROMIUM ?? '/usr/bin/chromium',
        args: ['--disable-gpu', ...(process.getuid() === 0 ? ['--no-sandbox'] : [])],
    });
});
after(() => browser?.close());

beforeEach(async () => {
    collector = await startCollector();
    context = await browser.newContext({viewport: {width: 1440, height: 900}, colorScheme: 'light'});
    await context.grantPermissions(['clipboard-read', 'clipboard-write'], {origin: collector.url});
    troubles = [];
    page = await newPage();
});
afterEach(async () => {
    await context.close();
    await collector.stop();
    assert.deepEqual(troubles, []);
});

/// A page whose errors, refused contents, dialogs and requests to elsewhere are troubles.
async function newPage() {
    const made = await context.newPage();
    made.setDefaultTimeout(15_000);
    made.on('pageerror', (error) => troubles.push(`error: ${error.stack}`));
    made.on('console', (line) => {
        if (['error', 'warning'].includes(line.type())) troubles.push(`console: ${line.text()}`);
    });
    made.on('dialog', (dialog) => {
        troubles.push(`dialog: ${dialog.message()}`);
        dialog.dismiss();
    });
    made.on('request', (request) => {
        if (new URL(request.url()).origin !== collector.url) troubles.push(`request: ${request.url()}`);
    });
    return made;
}

const open = (where = '/') => page.goto(collector.url + where);
const send = async (...actions) => assert.equal((await collector.post(envelope(actions))).status, 200);
const digits = (text) => Number(text.replace(/\D/g, ''));
const countOf = async (id, on = page) => digits(await on.locator(`#${id}`).textContent());
const until = (predicate, argument) => page.waitForFunction(predicate, argument);
const hasText = (selector, text) =>
    until(([from, what]) => document.querySelector(from)?.textContent.includes(what), [selector, text]);
const rowNumbers = (on = page) =>
    on.locator('.rows .row[id] .number').evaluateAll((cells) =>
        cells.map((cell) => Number(cell.textContent.replace(/\D/g, ''))).sort((a, b) => b - a));
const rowOf = (number) => page.locator(`#row${number}`);
const parameters = () => Object.fromEntries(new URL(page.url()).searchParams);

test('events appear as the library delivers them, newest first', async () => {
    await open();
    await hasText('#empty', `--collector ${collector.url}`);
    await hasText('#connection', 'Live');
    const sent = track(collector.url);
    await page.locator('.rows .row[id]').first().waitFor();
    await sent;

    const summary = await collector.get('/received/summary');
    assert.ok(summary.events > 100);
    await until((last) => document.getElementById(`row${last}`), summary.lastNumber);
    await until((all) => document.getElementById('countEvents').textContent.replace(/\D/g, '') === all,
        String(summary.events));
    assert.equal(await countOf('countGood'), summary.good);
    assert.equal(await countOf('countBad'), summary.bad);
    assert.equal(await countOf('countMissing'), summary.missing);
    const top = await page.locator('.rows .row[aria-rowindex="2"] .number').textContent();
    assert.equal(digits(top), summary.lastNumber);
    await until((all) => document.getElementById('chartArea').getAttribute('aria-label').replace(/,(?=\d)/g, '')
        .includes(`${all} events`), summary.events);
    assert.ok(await page.locator('.goodBar').count() > 0);
});

test('filters live in the address and can be shared', async () => {
    await send(goodPage('Tents'), goodPage('Shoes'), badCart());
    await send(goodPage('More tents'));
    await open();
    await page.selectOption('#filterSchema', 'page-view-1');
    await page.fill('#filterText', 'TENTS');
    await hasText('#matches', '2 events');
    await until(() => document.querySelectorAll('.rows .row[id]').length === 2);
    assert.deepEqual(await rowNumbers(), [4, 1]);
    assert.deepEqual(parameters(), {schema: 'page-view-1', text: 'TENTS'});

    await page.click('#row1');
    await page.locator('#panel').getByText('context-1').first().waitFor();
    const shared = await newPage();
    await shared.goto(page.url());
    await shared.locator('#row1[aria-selected=true]').waitFor();
    assert.deepEqual(await rowNumbers(shared), [4, 1]);
    assert.equal(await shared.locator('#filterText').inputValue(), 'TENTS');
    assert.equal(await shared.locator('.chip').count(), 2);
    await shared.close();

    await page.locator('#panel .filterBy', {hasText: 'context-1'}).click();
    await until(() => location.search.includes('context=context-1'));
    await page.getByRole('button', {name: 'Remove filter: schema page-view-1'}).click();
    await page.locator('[data-tile=bad]').click();
    await hasText('#empty', 'No event matches');
    await page.goBack();
    await hasText('#matches', '2 events');
    assert.equal(parameters().good, undefined);
    await page.goForward();
    await page.getByRole('button', {name: 'Remove all filters'}).click();
    await hasText('#matches', '4 events');

    await page.selectOption('#sort', 'schema ascending');
    await until(() => document.querySelector('.rows .row[aria-rowindex="2"] .schema')?.textContent === 'add-to-cart-1');
});

test('the chart narrows the view to a time', async () => {
    await send(goodPage('first'));
    await send(badCart());
    await open();
    await page.locator('.goodBar').first().waitFor();
    await page.locator('#chartArea').press('ArrowRight');
    await hasText('#chartReadout', '1 good');
    await page.locator('#chartArea').press('End');
    await hasText('#chartReadout', '1 bad');
    await page.locator('#chartArea').press('Enter');
    const {since, until: end} = parameters();
    const [{receivedAt}] = (await collector.get('/received/events?good=false')).events;
    assert.ok(Number(since) <= receivedAt && receivedAt < Number(end));
    await hasText('#matches', 'match');
});

test('the panel shows a bad event with its messages, its envelope and its request', async () => {
    await send(goodPage('before'), badCart());
    await send(goodPage('after'));
    await open();
    await rowOf(3).waitFor();
    await page.keyboard.press('j');
    await page.keyboard.press('j');
    await page.keyboard.press('Enter');
    await rowOf(2).and(page.locator('[aria-selected=true]')).waitFor();
    assert.equal(parameters().open, '2');

    const {events} = await collector.get('/received/events?good=false');
    assert.ok(events[0].messages.length >= 2);
    for (const [key, text] of [['"quantity"', '/quantity'], ['"size"', '/variant/size']]) {
        const {message} = events[0].messages.find(({path}) => path === text);
        const line = page.locator('.jsonLine.marked', {hasText: key});
        assert.equal(await line.locator('xpath=following-sibling::*[1]').textContent(), message);
        assert.ok(await page.locator('.messages', {hasText: message}).isVisible());
    }

    await page.getByRole('tab', {name: 'Envelope'}).click();
    await page.locator('.json', {hasText: '"zentaraClientTenant": "shop"'}).waitFor();
    await page.keyboard.press('ArrowRight');
    await page.locator('.json', {hasText: 'GST=guest-1'}).waitFor();
    await page.getByRole('button', {name: 'Copy the action UUID'}).click();
    await hasText('#toast', 'Copied');
    assert.equal(await page.evaluate(() => navigator.clipboard.readText()), events[0].actionUUID);

    await page.keyboard.press('k');
    await until(() => location.search.includes('open=3'));
    await page.keyboard.press('Escape');
    await page.locator('#panel').waitFor({state: 'hidden'});
    await page.click('#row1');
    await page.locator('#panel h2', {hasText: 'page-view-1'}).waitFor();
});

test('whatever an event holds is text', async () => {
    const evil = (mark) =>
        `</script><img src=x onerror="window.hacked='${mark}'"><script>window.hacked=1;alert(1)</script>`;
    const hostile = action({
        title: evil('title'), price: '5.0',
        [evil('key')]: [evil('list'), {href: 'javascript:alert(1)', ['__proto__']: evil('deep')}],
    }, {
        id: evil('id'), version: evil('version'), url: 'javascript:alert(2)//' + evil('url'),
        contentType: evil('type'), zentaraClientVersion: evil('v'), zentaraClientReferer: evil('referer'),
        zentaraRelationId: evil('relation'), zentaraClientContextID: evil('context'),
        zentaraActionUUID: `../../${evil('uuid')}`, zentaraActionExtraAttributes: evil('extra'),
    });
    const skipped = {...hostile, zentaraActionSequence: hostile.zentaraActionSequence + 5,
        zentaraActionUUID: evil('other')};
    const members = Object.fromEntries(['zentaraClientUUID', 'zentaraClientTenant', 'zentaraClientType',
        'zentaraClientDeviceGroup', 'zentaraEnvironment'].map((name) => [name, evil(name)]));
    // Numbers that JavaScript does not keep are shown as they were sent.
    const body = JSON.stringify(envelope([hostile, hostile, skipped], members))
        .replaceAll('"5.0"', '5.0').replaceAll(/"actionTs":\d+/g, '"actionTs":1700000000000.0')
        .replaceAll(/"zentaraDispatchNumber":\d+/g, '"zentaraDispatchNumber":9007199254740993');
    assert.equal((await collector.post(body)).status, 200);
    await send(goodPage(evil('good')));
    await open('/?schema=' + encodeURIComponent(evil('filter')));
    await page.getByRole('button', {name: 'Remove all filters'}).click();
    await page.click('#row2');
    await page.locator('#panel').getByText('This action arrived 2 times').waitFor();
    const shown = await page.locator('.json').textContent();
    assert.ok(shown.includes(JSON.stringify(evil('title'))) && shown.includes('"price": 5.0,'));
    assert.ok((await page.locator('.facts').textContent()).includes('dispatch 9007199254740993'));
    for (const tab of ['Envelope', 'Request', 'Event']) {
        await page.getByRole('tab', {name: tab}).click();
        await page.locator('.json').waitFor();
    }
    await page.locator('.filterBy', {hasText: 'context'}).first().click();
    await page.locator('.chip').first().waitFor();
    await page.click('#countMissing');
    await page.locator('#gapsList td').first().waitFor();
    assert.equal(await page.locator('a').count(), 0);
    assert.equal(await page.locator('img').count(), 1);
    assert.equal(await page.locator('script').count(), 2);
    assert.equal(await page.evaluate(() => window.hacked), undefined);
});

test('long names and many messages are shown in part', async () => {
    const long = 'n'.repeat(500_000);
    const names = Array.from({length: 300}, (_, index) => `extra${index}`);
    await send(action({[long]: {[long]: 1}, ...Object.fromEntries(names.map((name) => [name, 0]))}, {id: 'add-to-cart'}));
    await open();
    await page.click('#row1');
    const [{messages}] = (await collector.get('/received/events')).events;
    assert.ok(messages.length > 300);
    await hasText('.messages li:last-child', `${messages.length - 100} more`);
    assert.equal(await page.locator('.messages button').count(), 100);
    assert.ok(await page.locator('.jsonNote').count() <= 100);
    const markup = () => page.evaluate(() => document.body.outerHTML.length);
    assert.ok(await markup() < long.length);
    await page.getByRole('button', {name: '498,000 more characters'}).first().click();
    await page.getByRole('button', {name: '460,000 more characters'}).waitFor();
});

test('pause holds the rows back, clearing forgets', async () => {
    await send(goodPage('one'));
    await open();
    await rowOf(1).waitFor();
    await page.keyboard.press('p');
    await send(goodPage('two'), goodPage('three'));
    await hasText('#pauseLabel', '2 new');
    assert.deepEqual(await rowNumbers(), [1]);
    await page.keyboard.press('p');
    await rowOf(3).waitFor();

    await page.click('#row3');
    await page.click('#openClear');
    await page.getByRole('button', {name: 'Keep'}).click();
    assert.equal((await collector.get('/received/summary')).events, 3);
    await page.click('#openClear');
    await page.click('#clearNow');
    await hasText('#empty', 'Waiting for the first event');
    assert.equal((await collector.get('/received/summary')).events, 0);
    assert.equal(await page.locator('#panel').isVisible(), false);

    await send(goodPage('four'), goodPage('five'));
    await rowOf(2).waitFor();
    await collector.clear();
    await send(goodPage('six'));
    await until(() => document.querySelectorAll('.rows .row[id]').length === 1 && document.getElementById('row1'));
});

test('faults are switched and shown', async () => {
    await open();
    await page.click('#openFaults');
    const form = page.locator('[data-service=event]');
    await form.getByRole('spinbutton', {name: 'Status'}).fill('418');
    await form.getByRole('button', {name: 'Switch the fault of event on'}).click();
    await hasText('#faultOn', 'event status 418');
    assert.equal((await collector.post(envelope([goodPage('lost')]))).status, 418);
    await hasText('#faultsMet', '1 time');
    await page.click('#faultsOff');
    await page.locator('#faultOn').waitFor({state: 'hidden'});
    await send(goodPage('stored'));
});

test('the theme can be chosen, and a phone needs no scrolling aside', async () => {
    await send(goodPage('a long title '.repeat(30)), badCart());
    await open();
    const back = () => page.evaluate(() => getComputedStyle(document.body).backgroundColor);
    const light = await back();
    await page.emulateMedia({colorScheme: 'dark'});
    const dark = await back();
    assert.notEqual(dark, light);
    await page.click('#theme');
    assert.equal(await back(), light);
    await page.reload();
    assert.equal(await back(), light);

    await page.setViewportSize({width: 390, height: 844});
    const widest = () => page.evaluate(() => document.documentElement.scrollWidth);
    await rowOf(2).waitFor();
    assert.equal(await widest(), 390);
    await page.click('#toggleMore');
    assert.equal(await widest(), 390);
    await page.click('#row2');
    await page.locator('.json').waitFor();
    assert.equal(await widest(), 390);
    const panel = await page.locator('#panel').boundingBox();
    assert.deepEqual([panel.x, panel.width, panel.height], [0, 390, 844]);
});

test('fifty thousand events take few elements, and the oldest can be reached', async () => {
    await open();
    for (let sent = 0; sent < 50_000; sent += 5_000) {
        await send(...Array.from({length: 5_000}, (_, index) => goodPage(`page ${sent + index + 1}`)));
    }
    await rowOf(50_000).waitFor();
    const elements = () => page.evaluate(() => document.querySelectorAll('.rows *').length);
    assert.ok(await elements() < 2000);
    await page.focus('#list');
    await page.keyboard.press('End');
    await rowOf(1).waitFor();
    await hasText('#row1', 'page 1 ');
    await page.evaluate(() => { document.getElementById('list').scrollTop /= 2; });
    await rowOf(25_000).waitFor();
    assert.ok(await elements() < 2000);

    const placeOf = async () => (await rowOf(25_000).boundingBox()).y;
    const place = await placeOf();
    await send(goodPage('newest'));
    await page.locator('#jump', {hasText: '1 new'}).waitFor();
    assert.equal(await placeOf(), place);
    await page.click('#jump');
    await rowOf(50_001).waitFor();
});

test('the page survives its collector', async () => {
    await send(goodPage('one'), goodPage('two'));
    await open();
    await rowOf(2).waitFor();
    await collector.stop();
    await hasText('#connection', 'reconnecting');
    collector = await startCollector({port: new URL(collector.url).port});
    await send(goodPage('another'), goodPage('of as many'));
    await hasText('#connection', 'Live');
    await hasText('#row1', 'another');
    // Refused connections are what this test is about.
    const expected = /ERR_(CONNECTION_REFUSED|CONNECTION_RESET|INCOMPLETE_CHUNKED_ENCODING)/;
    troubles = troubles.filter((trouble) => !expected.test(trouble));
});
