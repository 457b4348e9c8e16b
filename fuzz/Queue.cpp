// A file of queued events through the store: loaded, saved and loaded again.

#include <algorithm>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "Check.h"
#include "dispatch/storage/InternalEventStorageImpl.h"
#include "dispatch/storage/QueueFiles.h"
#include "json/JSONText.h"
#include "model/EventDecoder.h"
#include "support/Files.h"
#include "support/SampleEvents.h"
#include "support/TestHost.h"

using namespace zentara;
using zentara::fuzz::check;

namespace {

constexpr const char* name = "events-storage";

std::vector<std::function<void()>> tasks;

/// Its tasks run in `runTasks`.
std::shared_ptr<InternalEventStorageImpl> openStorage() {
    return InternalEventStorageImpl::create(
        systemFiles(), name, std::chrono::seconds(10),
        [](auto, std::function<void()> task) { tasks.push_back(std::move(task)); });
}

/// Prepares the spare and writes the checkpoint, as if both were due.
void runTasks() {
    for (const auto& task : std::exchange(tasks, {}))
        task();
}

std::vector<std::string> textsOf(const std::vector<InternalEvent>& events) {
    std::vector<std::string> texts;
    for (const auto& event : events) {
        check(event.jsonText().has_value(), "an event that was loaded has a text");
        texts.emplace_back(*event.jsonText());
    }
    return texts;
}

/// Events that the quick reader accepts without decoding are those that decoding finds.
void checkDecoded(const DecodedEvents& decoded, const std::string& json) {
    if (decoded.isList) check(decoded.status.ok(), "a list is no error");
    if (!decoded.isList) check(decoded.events.empty(), "events come from a list");
    if (!decoded.isCanonical) return;
    check(test::fileOf(decoded.events) == json, "a canonical file is the texts of its events");
    const auto parsed = parseJSON(json);
    check(parsed.ok() && parsed->isArray(), "a canonical file is a JSON array");
    const auto& elements = parsed->array();
    check(elements.size() == decoded.events.size(), "each element is an event");
    for (std::size_t i = 0; i < elements.size(); ++i) {
        check(elements[i].isObject(), "each element is a dictionary");
        const auto event = InternalEvent::fromDictionary(elements[i].object());
        check(event.ok() && *event == decoded.events[i],
              "each element decodes as the accepted event");
        std::string body;
        check(decoded.events[i].appendBodyText(body), "each event has a text to post");
        const auto posted = parseJSON(body);
        check(posted.ok() && posted->isObject() && !posted->object().contains("user"),
              "a posted event has no user");
    }
}

/// None after a failure, as a queue starts.
std::vector<InternalEvent> eventsOf(Result<std::vector<InternalEvent>> loaded) {
    return loaded.ok() ? *std::move(loaded) : std::vector<InternalEvent>();
}

/// The file of the events in flight, which may hold as much.
void checkInFlight(const test::TestHost& host, const std::string& json,
                   const std::vector<std::string>& texts) {
    test::writeTo(host.file(".events-storage.under-way"), json);
    InFlightFile inFlight(QueueFiles(systemFiles(), name));
    const auto events = eventsOf(inFlight.load());
    check(textsOf(events) == texts, "events in flight are read like a queue");
    check(inFlight.save(events).ok(), "events in flight can be saved");
    check(textsOf(eventsOf(inFlight.load())) == texts, "events in flight load unchanged");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const test::TestHost host;
    const std::string json(fuzz::asText(data, size));
    const auto decoded = decodeEvents(json);
    checkDecoded(decoded, json);

    std::filesystem::remove_all(host.documents());
    const auto file = host.file(name);
    test::writeTo(file, json);
    auto first = openStorage();
    first->recover();
    // An empty file, which a loss of power can leave, counts as missing.
    if (!decoded.isList && !json.empty()) {
        const auto names = test::namesIn(host.documents());
        const auto aside = std::find_if(names.begin(), names.end(), [](const auto& each) {
            return each.find(".unreadable-") != std::string::npos;
        });
        check(aside != names.end() && test::contentsOf(host.file(*aside)) == json,
              "a file without a list is set aside unchanged");
    }
    EventList list(eventsOf(first->load()));
    const auto texts = textsOf({list.events().begin(), list.events().end()});
    check(texts == textsOf(decoded.events), "the store loads what the decoder finds");

    check(first->save(list).ok(), "a loaded list can be saved");
    const auto saved = test::contentsOf(file);
    check(saved == test::fileOf(list.events()), "the file holds the texts of its events");
    runTasks();
    check(texts.empty() || test::contentsOf(host.file(".events-storage.checkpoint")) == saved,
          "checkpoint and file are equal");

    auto second = openStorage();
    second->recover();
    auto again = second->load();
    check(again.ok() && textsOf(*again) == texts, "a saved list loads unchanged");
    check(decodeEvents(saved).isCanonical, "a saved list is read without decoding");
    for (std::size_t i = 0; i < texts.size(); ++i)
        check((*again)[i] == list.events()[i], "a saved event is equal");

    // Adds another text to those of a loaded file, and removes the front.
    EventList grown(*std::move(again));
    grown.append(test::sampleEvent(1));
    grown.dropFront(1);
    check(second->save(grown).ok() && test::contentsOf(file) == test::fileOf(grown.events()),
          "file and list are equal");
    checkInFlight(host, json, texts);
    return 0;
}
