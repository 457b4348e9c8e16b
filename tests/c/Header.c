#include "Header.h"

zentara_status send_from_c(const zentara_client* client, zentara_send_handler handler,
                           void* context) {
    zentara_event_draft draft = ZENTARA_INIT(zentara_event_draft);
    draft.schema_id = zentara_text_of("own-schema");
    draft.schema_version = zentara_text_of("7");
    draft.content_type = zentara_text_of("own/type");
    draft.url = zentara_text_of("own url");
    draft.referer = zentara_text_of("own referer");
    draft.relation_id = zentara_text_of("own relation");
    draft.properties_json = zentara_text_of("{\"own\":[1,\"two\"]}");
    return zentara_send(client, &draft, handler, context, NULL);
}
