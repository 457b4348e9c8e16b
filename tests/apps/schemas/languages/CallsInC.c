// The calls in C. With the URL of a collector and a folder, the events are sent.

#include "apps/schemas/languages/PrintDraft.h"

#include "c/events.h"

#include <threads.h>
#include <time.h>

#include "c/calls.inc"

static void begin(char** argv) {
    sends_events = true;
    zentara_endpoints endpoints = ZENTARA_INIT(zentara_endpoints);
    endpoints.qa_collector = endpoints.qa_schemas = zentara_text_of(argv[1]);
    zentara_use_endpoints(&endpoints);
    zentara_set_documents_directory(zentara_text_of(argv[2]));
    zentara_set_preferences_directory(zentara_text_of(argv[2]));
    zentara_use_settings(zentara_text_of("typed"), ZENTARA_ENVIRONMENT_QA, zentara_text_of(NULL),
                         NULL);
    zentara_get(NULL, NULL, NULL, NULL);
    while (!zentara_is_ready())
        thrd_sleep(&(struct timespec){.tv_nsec = 10000000}, NULL);
}

int main(int argc, char** argv) {
    if (argc == 3) begin(argv);
    callAll();
    if (argc == 3) zentara_shutdown(30000, NULL);
    return 0;
}
