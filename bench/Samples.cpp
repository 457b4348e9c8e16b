#include "Samples.h"

#include <span>
#include <stdexcept>

#include "json/JSONText.h"
#include "schemas/Schema.h"

namespace zentara::bench {

namespace {

struct Source {
    const char* name;
    const char* schema;
    const char* valid;
    const char* invalid;
};

// clang-format off
constexpr Source sources[] = {
{"page-view", R"({
  "type": "object",
  "properties": {
    "title": {"type": "string", "minLength": 1, "maxLength": 200},
    "section": {"enum": ["home", "search", "category", "product", "basket", "account"]},
    "language": {"type": "string", "pattern": "^[a-z]{2}$"},
    "loadMs": {"type": "integer", "minimum": 0, "maximum": 600000},
    "experiments": {"type": "array", "items": {"type": "string"}, "maxItems": 20}
  },
  "required": ["title", "section"],
  "additionalProperties": false
})", R"({"title":"Winter jackets","section":"category","language":"en","loadMs":1235,
 "experiments":["new-search:variant-b","free-shipping:control"]})",
 R"({"title":"","section":"nowhere","language":"English","loadMs":-3,"extra":true})"},

{"search", R"({
  "type": "object",
  "properties": {
    "query": {"type": "string", "minLength": 1, "maxLength": 500},
    "source": {"enum": ["box", "voice", "suggestion", "history"]},
    "results": {"type": "integer", "minimum": 0},
    "page": {"type": "integer", "minimum": 1},
    "tookMs": {"type": "number", "minimum": 0},
    "sort": {"enum": ["relevance", "price", "newest", "rating"]},
    "filters": {"type": "array", "maxItems": 30, "items": {
      "type": "object",
      "properties": {"name": {"type": "string"}, "value": {"type": ["string", "number"]}},
      "required": ["name", "value"]}},
    "referer": {"type": "string", "format": "uri"}
  },
  "required": ["query", "source", "results"]
})", R"({"query":"waterproof jacket men","source":"box","results":214,"page":2,"tookMs":48.25,
 "sort":"price","filters":[{"name":"size","value":"L"},{"name":"brand","value":"alder"},{"name":"maxPrice","value":250}],
 "referer":"https://www.alder.example/en/c/jackets?page=1"})",
 R"({"query":"jacket","source":"telepathy","results":"many","page":0,"filters":[{"name":7}],"referer":"not a uri"})"},

{"media-play", R"({
  "type": "object",
  "properties": {
    "mediaId": {"type": "string", "pattern": "^[a-z]{3}-[0-9]{6}$"},
    "title": {"type": "string", "minLength": 1},
    "kind": {"enum": ["video", "audio", "live"]},
    "positionMs": {"type": "integer", "minimum": 0},
    "durationMs": {"type": "integer", "minimum": 0},
    "rate": {"type": "number", "minimum": 0.25, "maximum": 4},
    "muted": {"type": "boolean"},
    "fullscreen": {"type": "boolean"},
    "bitrate": {"type": "integer", "minimum": 0},
    "subtitles": {"type": ["string", "null"]},
    "tags": {"type": "array", "items": {"type": "string", "maxLength": 40}, "uniqueItems": true},
    "cdn": {"type": "string", "format": "ipv4"}
  },
  "required": ["mediaId", "kind", "positionMs"],
  "additionalProperties": false
})", R"({"mediaId":"vid-204417","title":"How to wax a jacket","kind":"video","positionMs":65200,
 "durationMs":314000,"rate":1.25,"muted":false,"fullscreen":true,"bitrate":4200000,"subtitles":null,
 "tags":["care","jackets","how-to"],"cdn":"203.0.113.77"})",
 R"({"mediaId":"204417","title":"How","kind":"smell","positionMs":-1,"rate":9,"tags":["a","a"],"cdn":"203.0.113"})"},

{"order", R"({
  "type": "object",
  "properties": {
    "orderId": {"type": "string", "pattern": "^[0-9]{4}-[0-9A-F]{8}$"},
    "customer": {"enum": ["new", "returning", "member"]},
    "payment": {"enum": ["card", "invoice", "bank-transfer", "wallet"]},
    "total": {"$ref": "#/definitions/money"},
    "shipping": {"$ref": "#/definitions/money"},
    "tax": {"$ref": "#/definitions/money"},
    "coupon": {"type": ["string", "null"], "maxLength": 20},
    "giftWrap": {"type": "boolean"},
    "express": {"type": "boolean"},
    "country": {"type": "string", "pattern": "^[A-Z]{2}$"},
    "city": {"type": "string", "minLength": 1, "maxLength": 100},
    "postcode": {"type": "string", "minLength": 3, "maxLength": 10},
    "weight": {"type": "number", "minimum": 0, "exclusiveMinimum": true},
    "parcels": {"type": "integer", "minimum": 1},
    "newsletter": {"type": "boolean"},
    "lines": {"type": "array", "minItems": 1, "items": {"$ref": "#/definitions/line"}}
  },
  "required": ["orderId", "payment", "total", "lines"],
  "additionalProperties": false,
  "definitions": {
    "money": {
      "type": "object",
      "properties": {"amount": {"type": "number", "minimum": 0}, "currency": {"enum": ["EUR", "USD", "GBP", "CHF"]}},
      "required": ["amount", "currency"], "additionalProperties": false},
    "line": {
      "type": "object",
      "properties": {
        "productId": {"type": "string", "minLength": 5},
        "quantity": {"type": "integer", "minimum": 1, "maximum": 99},
        "price": {"$ref": "#/definitions/money"}},
      "required": ["productId", "quantity", "price"]}
  }
})", R"({"orderId":"2024-0A1B2C3D","customer":"member","payment":"card","total":{"amount":204.9,"currency":"EUR"},
 "shipping":{"amount":4.9,"currency":"EUR"},"tax":{"amount":34.15,"currency":"EUR"},"coupon":null,"giftWrap":false,
 "express":true,"country":"DE","city":"Freiburg","postcode":"79098","weight":1.85,"parcels":1,"newsletter":true,
 "lines":[{"productId":"JK-20441","quantity":1,"price":{"amount":150.0,"currency":"EUR"}},
 {"productId":"WX-00317","quantity":2,"price":{"amount":25.0,"currency":"EUR"}}]})",
 R"({"orderId":"2024","payment":"shells","total":{"amount":-1},"country":"Germany","weight":0,"lines":[]})"},

{"product-view", R"({
  "type": "object",
  "properties": {
    "productId": {"type": "string", "pattern": "^[A-Z]{2}-[0-9]{5}$"},
    "name": {"type": "string", "minLength": 1, "maxLength": 300},
    "brand": {"type": "string", "minLength": 1},
    "category": {"type": "array", "items": {"type": "string"}, "minItems": 1, "maxItems": 6},
    "price": {"type": "number", "minimum": 0},
    "listPrice": {"type": "number", "minimum": 0},
    "currency": {"enum": ["EUR", "USD", "GBP", "CHF"]},
    "availability": {"enum": ["in-stock", "low", "backorder", "out"]},
    "rating": {"type": "number", "minimum": 0, "maximum": 5},
    "reviews": {"type": "integer", "minimum": 0},
    "image": {"type": "string", "format": "uri"},
    "colour": {"type": "string"},
    "sizes": {"type": "array", "items": {"type": "string"}, "uniqueItems": true},
    "position": {"type": "integer", "minimum": 1},
    "list": {"type": "string", "maxLength": 60},
    "sponsored": {"type": "boolean"},
    "language": {"type": "string", "pattern": "^[a-z]{2}(-[A-Z]{2})?$"},
    "loadMs": {"type": "integer", "minimum": 0},
    "scrolled": {"type": "integer", "minimum": 0, "maximum": 100},
    "session": {"type": "object", "properties": {"number": {"type": "integer"}, "source": {"type": "string"}}}
  },
  "required": ["productId", "name", "price", "currency"],
  "additionalProperties": false
})", R"({"productId":"JK-20441","name":"Winter jacket Kar, men","brand":"Alder","category":["men","jackets","winter"],
 "price":204.9,"listPrice":259.0,"currency":"EUR","availability":"in-stock","rating":4.6,"reviews":318,
 "image":"https://img.alder.example/jk/20441/front.jpg","colour":"forest","sizes":["S","M","L","XL"],"position":7,
 "list":"search","sponsored":false,"language":"en-GB","loadMs":840,"scrolled":65,
 "session":{"number":12,"source":"newsletter"}})",
 R"({"productId":"20441","name":"","price":"cheap","currency":"money","rating":11,"image":"front","sizes":["S","S"],
 "language":"english","session":[]})"},

{"app-state", R"({
  "type": "object",
  "properties": {
    "coldStart": {"type": "boolean"},
    "startupMs": {"type": "integer", "minimum": 0},
    "appVersion": {"type": "string", "pattern": "^[0-9]+\\.[0-9]+\\.[0-9]+$"},
    "build": {"type": "integer", "minimum": 1},
    "openedBy": {"enum": ["icon", "notification", "link", "widget"]},
    "link": {"type": "string", "format": "uri"},
    "osVersion": {"type": "string", "minLength": 1, "maxLength": 20},
    "model": {"type": "string", "minLength": 1, "maxLength": 60},
    "orientation": {"enum": ["portrait", "landscape"]},
    "darkMode": {"type": "boolean"},
    "fontScale": {"type": "number", "minimum": 0.5, "maximum": 4},
    "battery": {"type": "integer", "minimum": 0, "maximum": 100},
    "charging": {"type": "boolean"},
    "memoryMb": {"type": "integer", "minimum": 0},
    "diskFreeMb": {"type": "integer", "minimum": 0},
    "network": {"type": "object", "properties": {
      "kind": {"enum": ["wifi", "cellular", "offline"]},
      "address": {"type": "string", "format": "ipv4"},
      "strength": {"type": "integer", "minimum": 0, "maximum": 4}}, "required": ["kind"]},
    "language": {"type": "string", "pattern": "^[a-z]{2}$"},
    "timeZone": {"type": "string", "minLength": 3},
    "permissions": {"type": "array", "items": {"enum": ["camera", "location", "notifications", "photos"]}, "uniqueItems": true},
    "loggedIn": {"type": "boolean"},
    "visits": {"type": "integer", "minimum": 1},
    "crashes": {"type": "integer", "minimum": 0},
    "campaign": {"type": ["string", "null"]},
    "screen": {"type": "object", "properties": {"width": {"type": "integer"}, "height": {"type": "integer"}, "scale": {"type": "number"}}},
    "features": {"type": "array", "items": {"type": "string"}, "maxItems": 50}
  },
  "required": ["coldStart", "appVersion", "openedBy"],
  "additionalProperties": false
})", R"({"coldStart":true,"startupMs":1235,"appVersion":"7.0.12","build":4711,"openedBy":"link",
 "link":"alder://product/JK-20441","osVersion":"17.4","model":"Alder Phone 9","orientation":"portrait","darkMode":true,
 "fontScale":1.15,"battery":82,"charging":false,"memoryMb":5630,"diskFreeMb":40211,
 "network":{"kind":"wifi","address":"192.168.1.20","strength":3},"language":"de","timeZone":"Europe/Berlin",
 "permissions":["camera","notifications"],"loggedIn":true,"visits":41,"crashes":0,"campaign":"spring",
 "screen":{"width":1179,"height":2556,"scale":3.0},"features":["search-v2","basket-sync","wallet"]})",
 R"({"coldStart":"yes","appVersion":"seven","openedBy":"chance","link":"no link","battery":101,"fontScale":"big",
 "network":{"address":"1.2.3"},"permissions":["telepathy"],"visits":0,"unknown":1})"},
};

constexpr Source otherSources[] = {
{"video-action", R"({"type":"object","properties":{"videoId":{"type":"string","pattern":"^vid_[0-9a-f]{8}$"},"action":{"enum":["play",
 "pause","seek","end","error"]},"positionSeconds":{"type":"number","minimum":0},"playerVersion":{"type":"string",
 "pattern":"^\\d+\\.\\d+\\.\\d+(-[a-z0-9]+)?$"},"manifest":{"type":"string","format":"uri"}},"required":["videoId",
 "action","positionSeconds"],"additionalProperties":false})",
 R"({"videoId":"vid_09af31bc","action":"seek","positionSeconds":318.25,"playerVersion":"4.12.0-rc2",
 "manifest":"https://cdn.media.example/v/09af31bc/master.m3u8?token=ab12"})", "{}"},
{"search-results", R"({"type":"object","properties":{"query":{"type":"string","minLength":1,"maxLength":200},"results":{"type":"integer",
 "minimum":0},"page":{"type":"integer","minimum":1,"maximum":500},"sort":{"type":"string",
 "pattern":"^(relevance|price|rating|newest)(_(asc|desc))?$"},"filters":{"type":"array","items":{"type":"object",
 "properties":{"name":{"type":"string","pattern":"^[a-z_]{2,30}$"},"value":{"type":"string","minLength":1}},
 "required":["name","value"]},"maxItems":20},"clientIp":{"type":"string","format":"ipv4"},
 "latencyMs":{"type":"integer","minimum":0},"suggestion":{"type":["string","null"],"maxLength":200}},
 "required":["query","results","page"],"additionalProperties":false})",
 R"({"query":"waterproof hiking boots","results":1284,"page":2,"sort":"price_asc","filters":[{"name":"brand",
 "value":"Norrvik"},{"name":"size","value":"43"}],"clientIp":"203.0.113.77","latencyMs":96,"suggestion":null})", "{}"},
{"basket-add", R"({"type":"object","properties":{"sku":{"type":"string","pattern":"^[A-Z]{3}[0-9]{6}$"},"title":{"type":"string",
 "minLength":3,"maxLength":120},"quantity":{"type":"integer","minimum":1,"maximum":999},
 "unitPrice":{"type":"number","minimum":0,"exclusiveMinimum":true},"currency":{"type":"string",
 "pattern":"^[A-Z]{3}$"},"discount":{"type":"number","minimum":0,"maximum":100},"weight":{"type":"string",
 "format":"numericString"},"colour":{"type":"string","minLength":2},"url":{"type":"string","format":"uri"},
 "tags":{"type":"array","items":{"type":"string","pattern":"^[a-z][a-z0-9-]*$"},"uniqueItems":true,"maxItems":10},
 "warehouse":{"type":"string","pattern":"^(FR|MU|HH|B)-[0-9]{2}$"},"gift":{"type":"boolean"}},"required":["sku",
 "title","quantity","unitPrice","currency"],"additionalProperties":false})",
 R"({"sku":"NRV204418","title":"Norrvik trail boot, men, graphite","quantity":2,"unitPrice":129.95,"currency":"EUR",
 "discount":15,"weight":"1.350","colour":"graphite",
 "url":"https://shop.example.com/p/nrv204418/trail-boot?variant=43","tags":["outdoor","winter-2024","boots"],
 "warehouse":"HH-07","gift":false})", "{}"},
{"order-placed", R"({"type":"object","definitions":{"address":{"type":"object","properties":{"street":{"type":"string","minLength":2},
 "zip":{"type":"string","pattern":"^[0-9]{5}$"},"city":{"type":"string","minLength":2},"country":{"type":"string",
 "pattern":"^[A-Z]{2}$"}},"required":["street","zip","city","country"],"additionalProperties":false},
 "money":{"type":"object","properties":{"value":{"type":"number","minimum":0},"currency":{"enum":["EUR","GBP",
 "SEK"]}},"required":["value","currency"]}},"properties":{"orderId":{"type":"string",
 "pattern":"^[0-9]{4}-[0-9A-Z]{10}$"},"customerId":{"type":"string","pattern":"^c[0-9]{9}$"},
 "email":{"type":"string","pattern":"^[A-Za-z0-9._%+-]+@[A-Za-z0-9.-]+\\.[A-Za-z]{2,10}$"},
 "total":{"$ref":"#/definitions/money"},"shipping":{"$ref":"#/definitions/money"},
 "billTo":{"$ref":"#/definitions/address"},"shipTo":{"$ref":"#/definitions/address"},"items":{"type":"array",
 "minItems":1,"items":{"type":"object","properties":{"sku":{"type":"string","pattern":"^[A-Z]{3}[0-9]{6}$"},
 "quantity":{"type":"integer","minimum":1},"price":{"$ref":"#/definitions/money"}},"required":["sku","quantity"]}},
 "payment":{"enum":["card","invoice","transfer","wallet"]},"voucher":{"type":["string","null"]},
 "ip":{"type":"string","format":"ipv4"},"newCustomer":{"type":"boolean"},"channel":{"type":"string","minLength":2,
 "maxLength":20},"language":{"type":"string","pattern":"^[a-z]{2}(-[A-Z]{2})?$"},"visits":{"type":"integer",
 "minimum":1},"confirmation":{"type":"string","format":"uri"}},"required":["orderId","customerId","total","items",
 "payment"],"additionalProperties":false})",
 R"({"orderId":"2024-7KQ93MZX0B","customerId":"c004182736","email":"anna.lind+shop@post.example",
 "total":{"value":264.85,"currency":"EUR"},"shipping":{"value":4.95,"currency":"EUR"},
 "billTo":{"street":"Lindenweg 12","zip":"79098","city":"Freiburg","country":"DE"},"shipTo":{"street":"Hafenstr. 3",
 "zip":"20457","city":"Hamburg","country":"DE"},"items":[{"sku":"NRV204418","quantity":2,"price":{"value":129.95,
 "currency":"EUR"}}],"payment":"invoice","voucher":null,"ip":"198.51.100.9","newCustomer":false,
 "channel":"newsletter","language":"de-DE","visits":12,
 "confirmation":"https://shop.example.com/orders/2024-7KQ93MZX0B"})", "{}"},
{"article-read", R"({"type":"object","properties":{"articleId":{"type":"string","pattern":"^art-[0-9]{7}$"},"headline":{"type":"string",
 "minLength":5,"maxLength":250},"section":{"enum":["news","sport","culture","economy","local","opinion"]},
 "authors":{"type":"array","items":{"type":"string","minLength":2},"minItems":1,"maxItems":8},
 "published":{"type":"string","pattern":"^\\d{4}-\\d{2}-\\d{2}T\\d{2}:\\d{2}:\\d{2}Z$"},"updated":{"type":"string",
 "pattern":"^\\d{4}-\\d{2}-\\d{2}T\\d{2}:\\d{2}:\\d{2}Z$"},"canonical":{"type":"string","format":"uri"},
 "referrer":{"type":"string","format":"uri"},"words":{"type":"integer","minimum":0},"readSeconds":{"type":"number",
 "minimum":0},"scrollDepth":{"type":"integer","minimum":0,"maximum":100},"paywall":{"type":"boolean"},
 "subscriber":{"type":"boolean"},"edition":{"type":"string","pattern":"^[a-z]{2}-[a-z]{2}$"},
 "device":{"enum":["phone","tablet","desktop","tv"]},"viewport":{"type":"object",
 "properties":{"width":{"type":"integer","minimum":1},"height":{"type":"integer","minimum":1}},"required":["width",
 "height"]},"ads":{"type":"integer","minimum":0,"maximum":40},"ipv6":{"type":"string","format":"ipv6"},
 "experiment":{"type":"string","pattern":"^[A-Z]{2,6}-[0-9]+[ab]$"},"tags":{"type":"array","items":{"type":"string",
 "minLength":1,"maxLength":40},"uniqueItems":true}},"required":["articleId","headline","section","published",
 "canonical"],"additionalProperties":false})",
 R"({"articleId":"art-0048213","headline":"Stadtrat beschließt neue Radwege für die Innenstadt","section":"local",
 "authors":["Mara Köhler","J. Petersen"],"published":"2024-11-20T05:30:00Z","updated":"2024-11-21T09:12:44Z",
 "canonical":"https://news.example.org/local/2024/11/radwege-innenstadt-0048213",
 "referrer":"https://search.example.com/?q=radwege","words":812,"readSeconds":94.5,"scrollDepth":76,"paywall":false,
 "subscriber":true,"edition":"de-bw","device":"phone","viewport":{"width":390,"height":844},"ads":4,
 "ipv6":"2001:db8:85a3::8a2e:370:7334","experiment":"NAV-31b","tags":["radverkehr","stadtrat","mobilität"]})", "{}"},
{"playback-state", R"({"type":"object","properties":{"sessionId":{"type":"string",
 "pattern":"^[0-9a-f]{8}-[0-9a-f]{4}-4[0-9a-f]{3}-[89ab][0-9a-f]{3}-[0-9a-f]{12}$"},"contentId":{"type":"string",
 "pattern":"^[a-z]+:[0-9]+$"},"state":{"enum":["buffering","playing","paused","stopped"]},
 "bitrate":{"type":"integer","minimum":0},"maxBitrate":{"type":"integer","minimum":0},"codec":{"type":"string",
 "pattern":"^(avc1|hev1|av01|vp09)\\.[0-9A-Za-z.]+$"},"resolution":{"type":"string",
 "pattern":"^[0-9]{3,4}x[0-9]{3,4}$"},"fps":{"type":"number","minimum":1,"maximum":240},
 "droppedFrames":{"type":"integer","minimum":0},"bufferSeconds":{"type":"number","minimum":0},
 "startupMs":{"type":"integer","minimum":0},"rebuffers":{"type":"integer","minimum":0},"live":{"type":"boolean"},
 "drm":{"enum":["none","widevine","fairplay","playready"]},"cdn":{"type":"string","minLength":2,"maxLength":30},
 "segment":{"type":"string","format":"uri"},"serverIp":{"type":"string","format":"ipv4"},
 "audioLanguage":{"type":"string","pattern":"^[a-z]{3}$"},"subtitles":{"type":["string","null"],
 "pattern":"^[a-z]{3}$"},"volume":{"type":"number","minimum":0,"maximum":1},"speed":{"type":"number","minimum":0.25,
 "maximum":4},"fullscreen":{"type":"boolean"},"tracks":{"type":"array","items":{"type":"object",
 "properties":{"id":{"type":"integer"},"kind":{"enum":["audio","video","text"]}},"required":["id","kind"]},
 "maxItems":32},"network":{"type":"object","properties":{"type":{"enum":["wifi","cellular","ethernet"]},
 "mbps":{"type":"number","minimum":0}},"required":["type"]},"appVersion":{"type":"string",
 "pattern":"^[0-9]+\\.[0-9]+\\.[0-9]+$"}},"required":["sessionId","contentId","state","bitrate","appVersion"],
 "additionalProperties":false})",
 R"({"sessionId":"6f1c2ad0-93be-4c55-8a1f-02d9e7b4c831","contentId":"episode:448120","state":"playing",
 "bitrate":4800000,"maxBitrate":8000000,"codec":"avc1.640028","resolution":"1920x1080","fps":50,"droppedFrames":3,
 "bufferSeconds":21.4,"startupMs":740,"rebuffers":0,"live":false,"drm":"widevine","cdn":"edge-north",
 "segment":"https://edge3.media.example/e/448120/1080p/seg-00217.m4s","serverIp":"192.0.2.33","audioLanguage":"swe",
 "subtitles":null,"volume":0.85,"speed":1.0,"fullscreen":true,"tracks":[{"id":1,"kind":"video"},{"id":2,
 "kind":"audio"},{"id":5,"kind":"text"}],"network":{"type":"wifi","mbps":87.5},"appVersion":"11.4.2"})", "{}"},
};
// clang-format on

JSONValue parsed(const char* text) {
    auto result = parseJSON(text);
    if (!result.ok()) throw std::logic_error(result.error()->description());
    return *std::move(result);
}

/// `schema` without the named keywords, but with the properties of those names.
void removeTextChecks(JSONValue& schema) {
    if (auto* const list = schema.ifArray()) {
        for (auto& element : *list)
            removeTextChecks(element);
    } else if (auto* const object = schema.ifObject()) {
        if (object->contains("type")) {
            object->erase("pattern");
            object->erase("format");
        }
        for (auto& member : *object)
            removeTextChecks(member.value());
    }
}

std::vector<Sample> samplesOf(std::span<const Source> texts) {
    std::vector<Sample> all;
    for (const auto& source : texts) {
        Sample sample;
        sample.name = source.name;
        JSONValue schema = parsed(source.schema);
        sample.schema = schema.object();
        removeTextChecks(schema);
        sample.plainSchema = schema.object();
        sample.valid = parsed(source.valid);
        sample.invalid = parsed(source.invalid);
        if (!appendJSON(sample.validText, sample.valid) ||
            !validate(sample.valid, sample.schema).valid() ||
            !validate(sample.valid, sample.plainSchema).valid() ||
            validate(sample.invalid, sample.schema).valid()) {
            throw std::logic_error(sample.name + " is not what it should be");
        }
        all.push_back(std::move(sample));
    }
    return all;
}

}  // namespace

const std::vector<Sample>& samples() {
    static const auto all = samplesOf(sources);
    return all;
}

const std::vector<Sample>& otherSamples() {
    static const auto all = samplesOf(otherSources);
    return all;
}

const Sample& twentyProperties() {
    return samples()[4];
}

}  // namespace zentara::bench
