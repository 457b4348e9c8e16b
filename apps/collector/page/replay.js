// The text that sends an event again. It is JSON in ASCII without quotes of the shell, so that a
// terminal or a shell with any settings takes it as it is.

const asciiJSON = (value) => JSON.stringify(value).replace(/['!\u007f-\uffff]/g,
    (character) => `\\u${character.charCodeAt(0).toString(16).padStart(4, '0')}`);

const longestArgument = 100_000;  // bytes; Linux takes 128 KiB

const quoted = (text) => `'${text.replaceAll("'", "'\\''")}'`;

// A token with other characters would have to be sent as bytes that a terminal does not keep.
function cookieOf({user}) {
    const cookie = user ? `${user.type}=${user.token}` : '';
    return /^[ -~]+$/.test(cookie) ? ` -H ${quoted(`Cookie: ${cookie}`)}` : '';
}

/// A command that posts the event to the collector at `origin` in an envelope like its own.
export function curlCommand(event, envelope, origin) {
    const body = quoted(asciiJSON({...envelope, actions: [event.event]}));
    const post = `curl ${quoted(`${origin}/event`)} -H 'Content-Type: application/json'${cookieOf(event)} --data-binary`;
    // The shell's own printf has no limit.
    return body.length <= longestArgument ? `${post} ${body}` : `printf %s ${body} | ${post} @-`;
}

/// A line of input of zentara-track.
export const trackLine = (event) => asciiJSON({
    schemaId: event.id, schemaVersion: event.version, contentType: event.contentType, url: event.url,
    referer: event.zentaraClientReferer, properties: event.properties, relationId: event.zentaraRelationId,
});
