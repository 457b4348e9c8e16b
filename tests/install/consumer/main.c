#include <zentara/zentara.h>

static void note(void* context, const zentara_event* event, const zentara_error* error) {
    (void)event;
    *(zentara_error_kind*)context = zentara_error_kind_of(error);
}

/// Without settings an event is refused, which needs neither a file nor a server.
int main(void) {
    zentara_event_draft draft = ZENTARA_INIT(zentara_event_draft);
    draft.schema_id = zentara_text_of("page-view");
    draft.schema_version = zentara_text_of("1");
    zentara_error_kind kind = ZENTARA_ERROR_NONE;
    if (strcmp(zentara_version(), ZENTARA_VERSION) != 0) return 1;
    if (zentara_send(NULL, &draft, note, &kind, NULL) != ZENTARA_OK) return 2;
    return kind == ZENTARA_ERROR_NOT_INITIALIZED ? 0 : 3;
}
