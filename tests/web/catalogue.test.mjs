// The catalogue of events in a real browser: as a file, and as the collector serves it.

import assert from 'node:assert/strict';
import {after, afterEach, beforeEach, test} from 'node:test';
import {mkdtemp, rm, writeFile} from 'node:fs/promises';
import {tmpdir} from 'node:os';
import {join} from 'node:path';
import {action, badCart, envelope, launchBrowser, startCollector, writeCatalogue} from './collector.mjs';

const evil = `<img src=x onerror="window.hacked=1"><script>window.hacked=1</script>'"`;
const odd = {
    title: evil, description: evil, type: 'object', required: ['a'],
    properties: {
        a: {type: 'string', format: 'date-time', description: 'w'.repeat(300)},
        [evil]: {type: 'string', pattern: `^["'<>]{1}${'x'.repeat(200)}$`},
        deep: {type: 'object', properties: {er: {type: 'object', properties: {ly: {enum: [evil]}}}}},
    },
};

const browser = await launchBrowser();
const folder = await mkdtemp(join(tmpdir(), 'zentara-catalogue-'));
const oddFile = join(folder, 'odd-2.json');
await writeFile(oddFile, JSON.stringify(odd));
await writeFile(join(folder, 'odd-1.json'), JSON.stringify({...odd, required: []}));
const catalogue = await writeCatalogue(folder, oddFile, join(folder, 'odd-1.json'));
after(async () => {
    await browser.close();
    await rm(folder, {recursive: true});
});
let page, troubles, requests;

async function openPage(options) {
    page = await browser.newPage({viewport: {width: 1280, height: 900}, ...options});
    page.setDefaultTimeout(15_000);
    page.on('pageerror', (error) => troubles.push(`error: ${error.stack}`));
    page.on('console', (line) => troubles.push(`console: ${line.text()}`));
    page.on('request', (request) => requests.push(request.url()));
}
beforeEach(async () => {
    troubles = [];
    requests = [];
    await openPage({});
});
afterEach(async () => {
    await page.close();
    assert.deepEqual(troubles, []);
});
const shownTitles = () => page.locator('.event:visible h2').allTextContents();
const tab = (name) => page.locator('.event').first().getByText(name, {exact: true});

test('the page requests nothing, and what a schema holds is text', async () => {
    await page.goto(catalogue);
    assert.equal(await page.title(), 'Events of the shop');
    assert.ok((await shownTitles()).includes(evil));
    assert.equal(await page.evaluate(() => window.hacked), undefined);
    assert.deepEqual(requests, [catalogue]);
    // Neither could a part of the page.
    await page.evaluate(() => fetch('https://example.com/').catch(() => {}));
    assert.match(troubles.pop(), /Content Security Policy/);
    troubles = [];
});

test('search finds events by title, property and description', async () => {
    await page.goto(catalogue);
    const all = await shownTitles();
    await page.keyboard.press('/');
    await page.keyboard.type('CART total');
    await page.waitForFunction(() => document.getElementById('matches').textContent === '1 of 9 events');
    assert.deepEqual(await shownTitles(), ['Add to cart']);
    assert.deepEqual(await page.locator('#list li:visible .found').allTextContents(), ['cartTotal']);
    await page.fill('#search', 'w'.repeat(299));
    assert.deepEqual(await shownTitles(), [evil]);
    await page.fill('#search', 'no such thing');
    await page.click('#showAll');
    assert.deepEqual(await shownTitles(), all);
    await page.goto(`${catalogue}#odd-1`);
    await page.locator('[id="odd-1"] .properties').waitFor();
});

test('without a script everything but the search is there', async () => {
    await page.close();
    await openPage({javaScriptEnabled: false});
    await page.goto(catalogue);
    assert.equal(await page.locator('#search').isVisible(), false);
    for (const [name, at] of [['C++', 1], ['Objective-C', 3], ['JSON', 0]]) {
        await tab(name).click();
        assert.deepEqual(await page.locator('.event').first().locator('pre:visible').evaluateAll(
            (all) => all.map((one) => one.className)), [`code${at}`]);
    }
});

/// The texts whose contrast to what is behind them is below 4.5.
const faintTexts = () => page.evaluate(() => {
    const parts = (color) => color.match(/[\d.]+/g).map(Number);
    const light = ([red, green, blue]) => [red, green, blue].map((part) => part / 255)
        .map((part) => (part <= 0.04045 ? part / 12.92 : ((part + 0.055) / 1.055) ** 2.4))
        .reduce((sum, part, at) => sum + part * [0.2126, 0.7152, 0.0722][at], 0);
    const behind = (node) => {
        const color = getComputedStyle(node).backgroundColor;
        return (parts(color)[3] ?? 1) === 0 ? behind(node.parentElement) : parts(color);
    };
    const walker = document.createTreeWalker(document.body, NodeFilter.SHOW_TEXT);
    const faint = [];
    while (walker.nextNode()) {
        const node = walker.currentNode.parentElement;
        if (!walker.currentNode.data.trim() || !node.checkVisibility()) continue;
        const [low, high] = [light(parts(getComputedStyle(node).color)), light(behind(node))].sort((a, b) => a - b);
        if ((high + 0.05) / (low + 0.05) < 4.5) faint.push(`${node.className}: ${node.textContent.slice(0, 40)}`);
    }
    return faint;
});

for (const colorScheme of ['light', 'dark']) {
    test(`texts can be read in ${colorScheme} colours, on a phone without scrolling sideways`, async () => {
        await page.emulateMedia({colorScheme});
        await page.goto(catalogue);
        const back = await page.evaluate(() => getComputedStyle(document.body).backgroundColor);
        assert.equal(back, colorScheme === 'light' ? 'rgb(244, 245, 247)' : 'rgb(15, 18, 21)');
        assert.deepEqual(await faintTexts(), []);
        await page.setViewportSize({width: 360, height: 780});
        await page.evaluate(() => { for (const node of document.querySelectorAll('details')) node.open = true; });
        assert.equal(await page.evaluate(() => document.documentElement.scrollWidth), 360);
        const cut = await page.locator('.event :is(h2, p, th, td, li):visible').evaluateAll((all) => all
            .filter((one) => one.getBoundingClientRect().right > innerWidth).map((one) => one.textContent));
        assert.deepEqual(cut, []);
    });
}

test('the collector shows findings, and counts in the catalogue', async () => {
    const schemas = await mkdtemp(join(tmpdir(), 'zentara-schemas-'));
    const write = (name, schema) => writeFile(join(schemas, name), JSON.stringify(schema));
    await write('add-to-cart-1.json', {title: 'Cart', type: 'object', properties: {quantity: {type: 'integer', maximum: 9}}});
    const collector = await startCollector(0, schemas);
    await page.goto(collector.url);
    await page.locator('#connection[data-state=open]').waitFor();
    assert.equal(await page.locator('#schemaFindings').isVisible(), false);
    await write('odd-2.json', odd);
    await page.locator('#schemaFindings', {hasText: '1 fault'}).click();
    const {schemas: [, {findings}]} = await collector.get('/received/schemas');
    const [fault] = findings.filter(({severity}) => severity === 'fault');
    const shown = page.locator('#schemasList .finding').first();
    assert.equal(await shown.locator('p').nth(1).textContent(), fault.reason);
    assert.equal(await shown.locator('strong').textContent(), 'odd-2');
    await page.keyboard.press('Escape');

    assert.equal(await collector.post(envelope([badCart(), action({quantity: 3}, {id: 'add-to-cart'})])), 200);
    await page.click('#catalogue');
    await page.locator('.event', {hasText: 'Cart'}).getByText('1 bad').click();
    await page.locator('.chip', {hasText: 'add-to-cart-1'}).waitFor();
    await page.locator('#row1').waitFor();
    await collector.stop();
    await rm(schemas, {recursive: true});
    assert.ok(requests.every((url) => url.startsWith(collector.url)));
    troubles = troubles.filter((trouble) => !/ERR_(CONNECTION_RE|INCOMPLETE_CHUNKED)/.test(trouble));
});
