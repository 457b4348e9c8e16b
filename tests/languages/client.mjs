// The calls of ClientsTest.cpp.

import {CollectorClient} from '../../bindings/javascript/client.js';

const failureOf = async (promise) => {
    try {
        await promise;
        return 'no failure';
    } catch (error) {
        return `${error.name}: ${error.message}`;
    }
};
const uuids = (events) => events.map(({actionUUID}) => ` ${actionUUID}`).join('');
const print = console.log;

const client = new CollectorClient(process.argv[2] + '/');
let found = await client.waitFor({text: '(1) hôme'}, 1, 60_000);
print(`found${found.total}${uuids(found.events)}`);
found = await client.waitFor({verdict: 'any'}, 4, 1);
print((found.satisfied ? 'satisfied' : 'not satisfied') + uuids(found.events));
print('expected' + uuids([await client.expectEvent({user: 'guest-1', after: 1})]));
print('bad' + uuids(await client.events({verdict: 'bad'})));
print(`good${await client.count({duplicate: false})}`);
print(Object.values(await client.summary()).join(' '));
await client.setFault('event', {answer: 'status', status: 501});
print(`status ${(await client.get('/faults')).event.status}`);
await client.clearFaults();
print((await client.get('/faults')).event ? 'a fault' : 'no fault');
print(await failureOf(client.expectEvent({
    schema: 'page-view-1', user: 'GST=guest-1', tenant: 'shop & co', context: 'context-1',
    client: 'client-1', text: "~Hôme's *(1)!", since: 17, after: 1, duplicate: false, verdict: 'any',
}, 1)));
print(await failureOf(client.expectEvent({properties: {loadMs: 7, 'a=b.ü': null}}, 1)));
print(await failureOf(client.expectNoEvent({text: 'Offers'}, 1)));
print(await failureOf(client.expectNoEvent({tenant: 'shop'})));
print(await failureOf(client.get('/received/nothing')));
print(await failureOf(new CollectorClient('http://127.0.0.1:2/').count()));
await client.reset();
