#include <stdio.h>
#include <unistd.h>

#include <zentara/zentara.h>

#include "silent.h"

static void note(void* context, const zentara_event* event, const zentara_error* error) {
    (void)event;
    const zentara_text message = zentara_error_message(error);
    snprintf(context, 200, "%d %.*s", (int)zentara_error_kind_of(error), (int)message.length,
             message.bytes == NULL ? "" : message.bytes);
}

static int failures = 0;

static void expect(const char* properties, const char* expected) {
    char outcome[200] = "not called";
    zentara_event_draft draft = ZENTARA_INIT(zentara_event_draft);
    draft.schema_id = zentara_text_of("view");
    draft.schema_version = zentara_text_of("1");
    draft.properties_json = zentara_text_of(properties);
    zentara_send(NULL, &draft, note, outcome, NULL);
    if (strcmp(outcome, expected) == 0) return;
    fprintf(stderr, "found    %s\nexpected %s\n", outcome, expected);
    ++failures;
}

/// Ready by the bundled schemas: the service does not answer.
int main(int count, char** arguments) {
    (void)count;
    if (strcmp(zentara_version(), ZENTARA_VERSION) != 0) return 2;
    expect("{}", "1 Zentara Client not initialized!");

    char folder[500];
    char file[600];
    snprintf(folder, sizeof folder, "%s-documents-%d", arguments[0], (int)getpid());
    snprintf(file, sizeof file, "%s/events-storage", folder);
    zentara_set_documents_directory(zentara_text_of(folder));
    zentara_set_preferences_directory(zentara_text_of(folder));
    char url[40];
    snprintf(url, sizeof url, "http://127.0.0.1:%d", silentPort());
    zentara_endpoints endpoints = ZENTARA_INIT(zentara_endpoints);
    endpoints.qa_collector = endpoints.qa_schemas = zentara_text_of(url);
    zentara_use_endpoints(&endpoints);
    zentara_use_settings(zentara_text_of("host"), ZENTARA_ENVIRONMENT_QA, zentara_text_of(NULL),
                         NULL);
    zentara_set_bundled_schemas(zentara_text_of("{\"view-1\":{\"required\":[\"title\"]}}"));
    zentara_get(NULL, NULL, NULL, NULL);

    expect("{\"title\":\"Home\"}", "0 ");
    expect("{}",
           "3 Data not valid for specified Schema. Error validating view-1 schema: "
           "Required properties are missing '[\"title\"]'");
    FILE* const queue = fopen(file, "r");
    char text[400] = "";
    if (queue == NULL || fread(text, 1, sizeof text - 1, queue) == 0) return 3;
    if (strstr(text, "\"properties\":{\"title\":\"Home\"}") == NULL) {
        fprintf(stderr, "found    %s\nexpected Home\n", text);
        ++failures;
    }
    return failures == 0 ? 0 : 1;
}
