// The smallest host application in C: one event, from the call to the collector.
//
//     zentara-collector --port 8080 --schemas examples/schemas &
//     minimal-c http://127.0.0.1:8080 http://127.0.0.1:8080

#include <zentara/zentara.h>

#include <stdio.h>
#include <threads.h>
#include <time.h>

static void print_outcome(void* context, const zentara_event* event, const zentara_error* error) {
    (void)context;
    zentara_event_draft sent = ZENTARA_INIT(zentara_event_draft);
    zentara_event_read(event, &sent);
    const zentara_text outcome =
        error == NULL ? zentara_text_of("queued") : zentara_error_message(error);
    printf("%.*s: %.*s\n", (int)sent.schema_id.length, sent.schema_id.bytes, (int)outcome.length,
           outcome.bytes);
}

int main(int argc, char** argv) {
    if (argc != 3) {
        fprintf(stderr, "usage: minimal-c COLLECTOR_URL SCHEMAS_URL\n");
        return 2;
    }

    // Once, when the application starts.
    zentara_endpoints endpoints = ZENTARA_INIT(zentara_endpoints);
    endpoints.qa_collector = zentara_text_of(argv[1]);
    endpoints.qa_schemas = zentara_text_of(argv[2]);
    if (zentara_use_endpoints(&endpoints) != ZENTARA_OK ||
        zentara_use_settings(zentara_text_of("my-tenant"), ZENTARA_ENVIRONMENT_QA,
                             zentara_text_of(NULL), NULL) != ZENTARA_OK ||
        zentara_get(NULL, NULL, NULL, NULL) != ZENTARA_OK) {
        const zentara_text problem = zentara_last_problem();
        fprintf(stderr, "%.*s\n", (int)problem.length, problem.bytes);
        return 1;
    }

    // Until the schemas are there, events are held back.
    const time_t end = time(NULL) + 30;
    while (!zentara_is_ready()) {
        if (time(NULL) > end) return 1;
        thrd_sleep(&(struct timespec){.tv_nsec = 10000000}, NULL);
    }

    // Whenever something happens.
    zentara_properties* properties = zentara_properties_make();
    zentara_properties_put_text(properties, zentara_text_of("title"), zentara_text_of("Home"));
    zentara_properties_put_text(properties, zentara_text_of("section"), zentara_text_of("home"));
    zentara_properties_put_text(properties, zentara_text_of("language"), zentara_text_of("en"));
    zentara_event_draft draft = ZENTARA_INIT(zentara_event_draft);
    draft.schema_id = zentara_text_of("page-view");
    draft.schema_version = zentara_text_of("1");
    draft.url = zentara_text_of("https://example.com/");
    draft.properties = properties;
    zentara_send_take(NULL, &draft, print_outcome, NULL, NULL);

    // The library delivers every ten seconds. A program that ends requests the delivery itself.
    zentara_flush_result result = ZENTARA_INIT(zentara_flush_result);
    zentara_flush_and_wait(10000, &result);
    if (result.outcome != ZENTARA_FLUSH_EMPTY) {
        fprintf(stderr, "the event stays queued for the next run: %.*s\n",
                (int)result.last_failure.length, result.last_failure.bytes);
        return 1;
    }
    printf("delivered\n");
    return 0;
}
