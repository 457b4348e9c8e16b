"""The calls of ClientsTest.cpp."""

import sys

from zentara_collector import CollectorClient, CollectorError, ExpectationError


def failure_of(call, *arguments, **selection) -> str:
    try:
        call(*arguments, **selection)
    except (CollectorError, ExpectationError) as error:
        return f"{type(error).__name__}: {error}"
    return "no failure"


def uuids(events) -> str:
    return "".join(f" {event['actionUUID']}" for event in events)


client = CollectorClient(sys.argv[1] + "/")
found = client.wait_for(1, 60, text="(1) hôme")
print(f"found{found.total}{uuids(found.events)}")
found = client.wait_for(4, 0.001, verdict="any")
print(("satisfied" if found.satisfied else "not satisfied") + uuids(found.events))
print("expected" + uuids([client.expect_event(user="guest-1", after=1)]))
print("bad" + uuids(client.events(verdict="bad")))
print(f"good{client.count(duplicate=False)}")
summary = client.summary()
print(summary.requests, summary.envelopes, summary.events, summary.good, summary.bad,
      summary.distinct_actions, summary.duplicates, summary.missing, summary.last_number)
client.set_fault("event", answer="status", status=501)
print(f"status {client.get('/faults')['event']['status']}")
client.clear_faults()
print("a fault" if client.get("/faults")["event"] else "no fault")
print(failure_of(client.expect_event, 0.001, schema="page-view-1", user="GST=guest-1",
                 tenant="shop & co", context="context-1", client="client-1", text="~Hôme's *(1)!",
                 since=17, after=1, duplicate=False, verdict="any"))
print(failure_of(client.expect_event, 0.001, properties={"loadMs": 7, "a=b.ü": None}))
print(failure_of(client.expect_no_event, 0.001, text="Offers"))
print(failure_of(client.expect_no_event, tenant="shop"))
print(failure_of(client.get, "/received/nothing"))
print(failure_of(CollectorClient("http://127.0.0.1:2/").count))
client.reset()
