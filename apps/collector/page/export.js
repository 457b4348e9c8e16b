// Downloads the events of the view as JSON lines.

import * as api from './api.js';
import {byId, element, toast} from './dom.js';

/// `filters()` gives those of the view, `last()` the number of the latest event. Events that arrive
/// during the download may be left out.
export function setUpExport({filters, last}) {
    const start = byId('export');
    start.addEventListener('click', async () => {
        start.disabled = true;
        try {
            download(new Blob(await readLines(filters(), last()), {type: 'application/x-ndjson'}));
        } catch (error) {
            toast(`The events cannot be exported: ${error.message}`);
        }
        start.disabled = false;
    });
}

/// Asks for part after part. The browser keeps blobs outside of the page's memory.
async function readLines(filters, last) {
    const parts = [];
    for (let after = 0; after < last;) {
        const text = await api.exportPart({...filters, after});
        if (text === '') break;
        parts.push(new Blob([text]));
        after = JSON.parse(text.slice(text.lastIndexOf('\n', text.length - 2) + 1)).number;
    }
    return parts;
}

function download(blob) {
    const link = element('a', {href: URL.createObjectURL(blob), download: 'events.jsonl'});
    link.click();
    setTimeout(() => URL.revokeObjectURL(link.href), 60_000);
}
