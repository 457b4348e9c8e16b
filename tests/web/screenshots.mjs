// Takes pictures of the page as it shows the example events: screenshots.mjs FOLDER

import assert from 'node:assert/strict';
import {readFile} from 'node:fs/promises';
import {join} from 'node:path';
import {chromium} from 'playwright-core';
import {action, envelope, examples, startCollector, track} from './collector.mjs';

const folder = process.argv[2];
const runs = 16;

const collector = await startCollector();
const browser = await chromium.launch({
    executablePath: process.env.ZENTARA_CHROMIUM ?? '/usr/bin/chromium',
    args: ['--disable-gpu', ...(process.getuid() === 0 ? ['--no-sandbox'] : [])],
});

// In several runs, so that the chart has something to show.
const lines = (await readFile(join(examples, 'events.jsonl'), 'utf8')).trim().split('\n');
for (let run = 0; run < runs; run += 1) {
    // More and fewer of them, and users that come and go.
    const share = (at) => Math.round(lines.length * (at + Math.sin(at * 9) / 14));
    await track(collector.url, {
        lines: lines.slice(share(run / runs), run + 1 === runs ? undefined : share((run + 1) / runs)),
        options: run % 3 === 0 ? [] : ['--logged-user', `GST:guest-${1 + Math.floor(run / 4)}`],
    });
    if (run % 4 !== 2) continue;
    // What the library would have refused, from a client that does not check.
    const wrong = envelope([
        action({productId: 'HI-48992', quantity: 99, unitPrice: 84, currency: 'EUR', variant: {size: 'tiny', color: 'moss'}},
            {id: 'add-to-cart', url: 'https://www.alder.example/de/p/day-pack-22-l/HI-48992'}),
        action({title: 'Basket', section: 'basked', language: 'de'}, {url: 'https://www.alder.example/de/basket'}),
    ], {zentaraClientTenant: 'demo', zentaraClientUUID: '5d0c7f4e-7c3e-4b58-9f0a-1f2f7ac0a1de'});
    await collector.post(wrong);
    if (run === 6) await collector.post(wrong);
    // This one is made and never sent.
    action({});
}

const {events} = await collector.get('/received/events?good=false&duplicate=false&schema=add-to-cart-1');
const {number} = events.at(-1);
for (const colorScheme of ['light', 'dark']) {
    const page = await browser.newPage({viewport: {width: 1440, height: 900}, colorScheme});
    await page.goto(`${collector.url}/?open=${number}`);
    await page.locator(`#row${number}[aria-selected=true]`).waitFor();
    await page.locator('.jsonNote').first().waitFor();
    await page.locator('.badBar').first().waitFor();
    const picture = await page.screenshot({path: join(folder, `collector-${colorScheme}.png`)});
    assert.ok(picture.length < 300_000, `the picture takes ${picture.length} bytes`);
}
await browser.close();
await collector.stop();
