#pragma once

#include <zentara/zentara.h>

#include <stdio.h>

/// Whether events are sent instead.
static bool sends_events;

/// In place of `zentara_send_take`: prints the event on a line.
static zentara_status print_draft(const zentara_client* client, const zentara_event_draft* draft,
                                  zentara_send_handler handler, void* context,
                                  void (*release)(void* context)) {
    if (sends_events) return zentara_send_take(client, draft, handler, context, release);
    const zentara_text json = zentara_value_json(zentara_properties_value(draft->properties));
    printf("%.*s %.*s %.*s %.*s\n", (int)draft->schema_id.length, draft->schema_id.bytes,
           (int)draft->schema_version.length, draft->schema_version.bytes, (int)draft->url.length,
           draft->url.bytes, (int)json.length, json.bytes);
    zentara_properties_release(draft->properties);
    return ZENTARA_OK;
}
#define zentara_send_take print_draft
