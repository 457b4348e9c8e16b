#include "Samples.h"

#include <stdexcept>

#include "json/JSONText.h"
#include "schemas/Validators.h"

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
// clang-format on

JSONValue parsed(const char* text) {
    auto result = parseJSON(text);
    if (result.error) throw std::logic_error(result.error->description());
    return std::move(result.value);
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

std::vector<Sample> makeSamples() {
    std::vector<Sample> all;
    for (const auto& source : sources) {
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
    static const auto all = makeSamples();
    return all;
}

const Sample& twentyProperties() {
    return samples()[4];
}

}  // namespace zentara::bench
