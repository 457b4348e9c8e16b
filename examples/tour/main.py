"""The same steps as in main.cpp, in Python.

    PYTHONPATH=bindings/python python3 main.py http://127.0.0.1:8080 "$(mktemp -d)"
"""

import sys

import zentara

DEADLINE = 20


def send(client: zentara.Client, step: str, properties: dict) -> None:
    try:
        client.send("page-view", "1", properties, url=f"https://example.com/{step}",
                    referer=f"https://example.org/{step}")
        print(f"{step}: queued")
    except zentara.Error as error:
        print(f"{step}: {error.code} {error}")


def page(title: str) -> dict:
    return {"title": title, "section": "home", "language": "en"}


def tell(step: str, result: zentara.FlushResult) -> None:
    print(f"{step}: outcome {int(result.outcome)}, {result.held_back} held back, "
          f"{result.last_failure}")


def succeeds(call, *arguments) -> int:
    try:
        call(*arguments)
        return 1
    except zentara.Error:
        return 0


def decide(outgoing: zentara.Outgoing) -> zentara.Decision:
    if outgoing.properties["title"] == "drop":
        return zentara.Decision.DROP
    outgoing.referer = "https://example.net/changed"
    return zentara.Decision.QUEUE


def main(collector: str, folder: str) -> None:
    zentara.set_log_sink(zentara.LogLevel.FATAL, lambda line: None)

    # 1: configure
    zentara.set_bundle_identifier("languages")
    zentara.set_documents_directory(folder)
    zentara.set_preferences_directory(folder)
    zentara.use_endpoints(qa_collector=collector, qa_schemas=collector)
    zentara.use_settings("languages", zentara.Environment.QA, "advertising-1",
                         zentara.DeliveryPolicy(continue_at_once=True, compress_bodies=True,
                                                reuse_connections=True))

    # 2: pending consent
    print("pending:", succeeds(zentara.set_consent, zentara.Consent.PENDING))
    client = zentara.client()
    send(client, "held back", page("held back"))

    # 3: grant
    print("granted:", succeeds(zentara.set_consent, zentara.Consent.GRANTED))
    assert client.wait_until_ready()

    # 4 and 5: send valid and invalid
    send(client, "valid", page("valid"))
    send(client, "invalid", {"title": 7})

    # 6: global properties
    zentara.set_global_properties({"section": "help", "language": "en"})
    send(client, "global", {"title": "global"})

    # 7: drop
    zentara.set_before_queue(decide)
    send(client, "drop", {"title": "drop"})
    send(client, "changed", {"title": "changed"})
    zentara.set_before_queue(None)
    zentara.set_global_properties({})

    # 8 to 10: pause, resume, flush
    zentara.pause_delivery()
    send(client, "paused", page("paused"))
    tell("flush while paused", zentara.flush(DEADLINE))
    zentara.resume_delivery()
    tell("flush", zentara.flush(DEADLINE))

    # 11: logged user
    zentara.set_logged_user(zentara.UserTokenType.GUEST, "user-1")
    send(client, "user", page("user"))
    tell("flush of the user", zentara.flush(DEADLINE))

    # 12: validate
    for message in client.validate("page-view", "1", {"title": 7}).messages:
        print("validate:", message)

    # 13: forget
    print("forgotten:", succeeds(zentara.forget_user))
    send(client, "forgotten", page("forgotten"))
    tell("flush after forgetting", zentara.flush(DEADLINE))

    # 14: deny
    zentara.pause_delivery()
    send(client, "discarded", page("discarded"))
    print("denied:", succeeds(zentara.set_consent, zentara.Consent.DENIED))
    send(client, "refused", page("refused"))

    # 15: shutdown
    tell("shutdown", zentara.shutdown(DEADLINE))
    send(client, "too late", page("too late"))

    counts = zentara.statistics()
    print("accepted", counts.accepted)
    print("heldBack", counts.held_back)
    print("refusedInvalid", counts.refused_invalid)
    print("refusedConsent", counts.refused_consent)
    print("refusedShutDown", counts.refused_shut_down)
    print("droppedByHook", counts.dropped_by_hook)
    print("released", counts.released)
    print("delivered", counts.delivered)
    print("discarded", counts.discarded)
    print("waiting", counts.waiting)
    print("inFlight", counts.in_flight)
    print("heldBackWaiting", counts.held_back_waiting)


if __name__ == "__main__":
    main(sys.argv[1], sys.argv[2])
