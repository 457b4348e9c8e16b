// Tests of the shop with a real collector:
//
//     export ZENTARA_COLLECTOR=build/release/apps/collector/zentara-collector
//     node --test examples/javascript-tests/shop.test.js

import assert from 'node:assert/strict';
import {after, afterEach, before, beforeEach, test} from 'node:test';
import {fileURLToPath} from 'node:url';
// With the Debian package: npm install /usr/share/zentara/javascript, and from 'zentara-collector/process'.
import {CollectorProcess} from '../../bindings/javascript/process.js';
import {Shop, Tracker} from './shop.js';

const schemas = fileURLToPath(new URL('../schemas', import.meta.url));
let running, collector, tracker, shop;

before(async () => {
    running = await CollectorProcess.start(schemas);
    collector = running.client();
});
after(() => running.stop());
beforeEach(async () => {
    await collector.reset();
    tracker = new Tracker(running.url, 'shop');
    shop = new Shop(tracker);
});
afterEach(() => collector.clearFaults());

test('a page is viewed once', async () => {
    shop.open('Home', 'home');
    assert.ok(await tracker.flush());
    const view = await collector.expectEvent({schema: 'page-view-1', properties: {section: 'home'}});
    assert.deepEqual(view.event.properties, {title: 'Home', section: 'home', language: 'en'});
    assert.equal(await collector.count({verdict: 'any'}), 1);
});

test('the cart has a total', async () => {
    shop.addToCart('HI-48992', 129.5, 1);
    shop.addToCart('HI-48992', 129.5, 2);
    await tracker.flush();
    const {events} = await collector.waitFor({schema: 'add-to-cart-1'}, 2);
    assert.deepEqual(events.map(({event}) => event.properties.cartTotal), ['129.50', '388.50']);
});

test('an empty quantity is bad', async () => {
    shop.addToCart('HI-48992', 129.5, 0);
    await tracker.flush();
    const {messages} = await collector.expectEvent({schema: 'add-to-cart-1', verdict: 'bad'});
    assert.deepEqual(messages.map(({path}) => path), ['/quantity']);
});

test('events wait while the collector refuses', async () => {
    await collector.setFault('event', {answer: 'status', status: 503, times: 1});
    shop.open('Offers', 'category');
    assert.equal(await tracker.flush(), false);
    await collector.expectNoEvent({verdict: 'any'});
    assert.equal(await tracker.flush(), true);
    assert.equal((await collector.expectEvent({text: 'Offers'})).sequence, 1);
});

test('a lost answer makes a duplicate', async () => {
    await collector.setFault('event', {answer: 'lost', times: 1});
    shop.open('Offers', 'category');
    assert.equal(await tracker.flush(), false);
    assert.equal(await tracker.flush(), true);
    const {distinctActions, duplicates} = await collector.summary();
    assert.deepEqual({distinctActions, duplicates}, {distinctActions: 1, duplicates: 1});
});
