#pragma once

#include <string>
#include <vector>

#include "model/InternalEvent.h"
#include "support/Status.h"

namespace zentara {

/// The events of a file, oldest first, or why the file could not be read.
struct [[nodiscard]] DecodedEvents {
    std::vector<InternalEvent> events;
    Status status;
    /// Whether the file holds exactly the texts of `events`, comma-separated in brackets.
    bool isCanonical = false;
    /// Whether the top level is an array of objects, as this library writes it.
    bool isList = false;
};

/// Reads a JSON array of events. A top level that is not an array of objects gives no events and no
/// error. An object that is not an event is left out. Throws `std::bad_alloc`: a lack of memory
/// says nothing about the file.
///
/// A file that this library wrote is walked, not decoded: each event keeps its slice of the file as
/// its text. Reading costs little more time than reading the file, and little more memory than its
/// size. Every value is visited, so damage is found here and not later.
DecodedEvents decodeEvents(std::string json);

}  // namespace zentara
