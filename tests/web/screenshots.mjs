// Takes pictures of the page as it shows the example events, and of the catalogue: screenshots.mjs FOLDER

import {mkdtemp, rm} from 'node:fs/promises';
import {tmpdir} from 'node:os';
import {join} from 'node:path';
import {action, badCart, envelope, exampleLines, launchBrowser, startCollector, track, writeCatalogue} from './collector.mjs';

const runs = 16;
const collector = await startCollector();
const browser = await launchBrowser();

// In several runs, so that the chart has something to show, with users that come and go.
const lines = await exampleLines();
const share = lines.length / runs;
for (let run = 0; run < runs; run += 1) {
    await track(collector.url, lines.slice(run * share, (run + 1) * share),
        run % 3 === 0 ? [] : ['--logged-user', `GST:guest-${1 + Math.floor(run / 4)}`]);
    // What the library would have refused, from a client that does not check.
    const wrong = envelope([badCart(), action({title: 'Basket', section: 'basked'})]);
    if (run % 4 === 3) await collector.post(wrong);
}

const {events} = await collector.get('/received/events?good=false&duplicate=false&schema=add-to-cart-1');
const {number} = events.at(-1);
for (const colorScheme of ['light', 'dark']) {
    const page = await browser.newPage({viewport: {width: 1440, height: 900}, colorScheme});
    await page.goto(`${collector.url}/?open=${number}`);
    await page.locator(`#row${number}[aria-selected=true]`).waitFor();
    await page.locator('.jsonNote').first().waitFor();
    await page.locator('.badBar').first().waitFor();
    await page.screenshot({path: join(process.argv[2], `collector-${colorScheme}.png`)});
}
const folder = await mkdtemp(join(tmpdir(), 'zentara-web-'));
const page = await browser.newPage({viewport: {width: 1280, height: 860}, colorScheme: 'light'});
await page.goto(await writeCatalogue(folder));
await page.screenshot({path: join(process.argv[2], 'catalogue-light.png')});
await rm(folder, {recursive: true});
await browser.close();
await collector.stop();
