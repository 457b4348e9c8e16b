/* The same steps as in main.cpp, in C. */

#include <semaphore.h>
#include <stdio.h>
#include <string.h>

#include <zentara/zentara.h>

enum { deadline = 20000 };

static zentara_text text(const char* characters) {
    return zentara_text_of(characters);
}

static void print(const char* before, zentara_text value) {
    printf("%s%.*s\n", before, (int)value.length, value.bytes == NULL ? "" : value.bytes);
}

static void tell_sent(void* step, const zentara_event* event, const zentara_error* error) {
    (void)event;
    printf("%s: ", (const char*)step);
    if (error == NULL) {
        puts("queued");
        return;
    }
    printf("%lld", (long long)zentara_error_code(error));
    print(" ", zentara_error_message(error));
}

static void send_json(const zentara_client* client, char* step, const char* json) {
    char url[64];
    char referer[64];
    snprintf(url, sizeof url, "https://example.com/%s", step);
    snprintf(referer, sizeof referer, "https://example.org/%s", step);
    zentara_event_draft draft = ZENTARA_INIT(zentara_event_draft);
    draft.schema_id = text("page-view");
    draft.schema_version = text("1");
    draft.url = text(url);
    draft.referer = text(referer);
    draft.properties_json = text(json);
    zentara_send(client, &draft, tell_sent, step, NULL);
}

static void send_page(const zentara_client* client, char* step) {
    char json[128];
    snprintf(json, sizeof json, "{\"title\":\"%s\",\"section\":\"home\",\"language\":\"en\"}",
             step);
    send_json(client, step, json);
}

static void tell_flush(const char* step, const zentara_flush_result* result) {
    printf("%s: outcome %d, %lld held back, ", step, (int)result->outcome,
           (long long)result->held_back);
    print("", result->last_failure);
}

static void flush(const char* step) {
    zentara_flush_result result = ZENTARA_INIT(zentara_flush_result);
    zentara_flush_and_wait(deadline, &result);
    tell_flush(step, &result);
}

static void set_global_properties(const char* json) {
    zentara_set_global_properties_take(zentara_properties_make_from_json(text(json)));
}

static void on_ready(void* ready, const zentara_error* error) {
    if (error == NULL) sem_post(ready);
}

static zentara_decision decide(void* context, zentara_outgoing* outgoing) {
    (void)context;
    const zentara_value* properties =
        zentara_properties_value(zentara_outgoing_properties(outgoing));
    const zentara_text title =
        zentara_value_look(zentara_value_find(properties, text("title"))).text;
    if (title.length == 4 && memcmp(title.bytes, "drop", 4) == 0) return ZENTARA_DECISION_DROP;
    zentara_outgoing_set_referer(outgoing, text("https://example.net/changed"));
    return ZENTARA_DECISION_QUEUE;
}

int main(int argc, char** argv) {
    if (argc != 3) return 2;
    zentara_set_log_sink(ZENTARA_LOG_FATAL, zentara_quiet_log, NULL, NULL);

    /* 1: configure */
    zentara_set_bundle_identifier(text("languages"));
    zentara_set_documents_directory(text(argv[2]));
    zentara_set_preferences_directory(text(argv[2]));
    zentara_endpoints endpoints = ZENTARA_INIT(zentara_endpoints);
    endpoints.qa_collector = endpoints.qa_schemas = text(argv[1]);
    zentara_use_endpoints(&endpoints);
    zentara_delivery_policy delivery = ZENTARA_INIT(zentara_delivery_policy);
    delivery.continue_at_once = delivery.compress_bodies = delivery.reuse_connections = true;
    zentara_use_settings(text("languages"), ZENTARA_ENVIRONMENT_QA, text("advertising-1"),
                         &delivery);

    /* 2: pending consent */
    printf("pending: %d\n", zentara_set_consent(ZENTARA_CONSENT_PENDING) == ZENTARA_OK);
    sem_t ready;
    sem_init(&ready, 0, 0);
    zentara_client* client = NULL;
    zentara_get(on_ready, &ready, NULL, &client);
    send_page(client, "held back");

    /* 3: grant */
    printf("granted: %d\n", zentara_set_consent(ZENTARA_CONSENT_GRANTED) == ZENTARA_OK);
    sem_wait(&ready);

    /* 4 and 5: send valid and invalid */
    send_page(client, "valid");
    send_json(client, "invalid", "{\"title\":7}");

    /* 6: global properties */
    set_global_properties("{\"section\":\"help\",\"language\":\"en\"}");
    send_json(client, "global", "{\"title\":\"global\"}");

    /* 7: drop */
    zentara_set_before_queue(decide, NULL, NULL);
    send_json(client, "drop", "{\"title\":\"drop\"}");
    send_json(client, "changed", "{\"title\":\"changed\"}");
    zentara_set_before_queue(NULL, NULL, NULL);
    zentara_set_global_properties(NULL);

    /* 8 to 10: pause, resume, flush */
    zentara_pause_delivery();
    send_page(client, "paused");
    flush("flush while paused");
    zentara_resume_delivery();
    flush("flush");

    /* 11: logged user */
    zentara_set_logged_user(ZENTARA_USER_GUEST, text("user-1"));
    send_page(client, "user");
    flush("flush of the user");

    /* 12: validate */
    zentara_event_draft draft = ZENTARA_INIT(zentara_event_draft);
    draft.schema_id = text("page-view");
    draft.schema_version = text("1");
    draft.properties_json = text("{\"title\":7}");
    zentara_validation_report report = ZENTARA_INIT(zentara_validation_report);
    zentara_validate(client, &draft, &report);
    for (size_t i = 0; i < report.count; ++i)
        print("validate: ", report.messages[i]);

    /* 13: forget */
    printf("forgotten: %d\n", zentara_forget_user() == ZENTARA_OK);
    send_page(client, "forgotten");
    flush("flush after forgetting");

    /* 14: deny */
    zentara_pause_delivery();
    send_page(client, "discarded");
    printf("denied: %d\n", zentara_set_consent(ZENTARA_CONSENT_DENIED) == ZENTARA_OK);
    send_page(client, "refused");

    /* 15: shutdown */
    zentara_flush_result result = ZENTARA_INIT(zentara_flush_result);
    zentara_shutdown(deadline, &result);
    tell_flush("shutdown", &result);
    send_page(client, "too late");
    zentara_client_release(client);

    zentara_statistics counts = ZENTARA_INIT(zentara_statistics);
    zentara_read_statistics(&counts);
    printf("accepted %lld\n", (long long)counts.accepted);
    printf("heldBack %lld\n", (long long)counts.held_back);
    printf("refusedInvalid %lld\n", (long long)counts.refused_invalid);
    printf("refusedConsent %lld\n", (long long)counts.refused_consent);
    printf("refusedShutDown %lld\n", (long long)counts.refused_shut_down);
    printf("droppedByHook %lld\n", (long long)counts.dropped_by_hook);
    printf("released %lld\n", (long long)counts.released);
    printf("delivered %lld\n", (long long)counts.delivered);
    printf("discarded %lld\n", (long long)counts.discarded);
    printf("waiting %lld\n", (long long)counts.waiting);
    printf("inFlight %lld\n", (long long)counts.in_flight);
    printf("heldBackWaiting %lld\n", (long long)counts.held_back_waiting);
    return 0;
}
