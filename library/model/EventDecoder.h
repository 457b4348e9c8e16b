#pragma once

#include <string>
#include <vector>

#include "model/InternalEvent.h"
#include "support/Status.h"

namespace zentara {

/// The events of a file, oldest first, or why it could not be read.
struct [[nodiscard]] DecodedEvents {
    std::vector<InternalEvent> events;
    ErrorRef error;
    /// Whether the file holds exactly the texts of `events`, comma-separated in brackets.
    bool isCanonical = false;
    /// Whether the top level is an array of objects, as any file of this library's is.
    bool isList = false;
};

/// Reads a JSON array of events. A top level that is not an array of objects gives no events and no
/// error; an object that is not an event is left out. Throws `std::bad_alloc`, as a lack of memory
/// says nothing about the file.
///
/// A file that this library wrote is only walked, not decoded: each event keeps its slice of the
/// file as its text, so reading costs little more than the file and memory little more than its
/// size. Every value is visited, so that damage is found here and not later.
DecodedEvents decodeEvents(std::string json);

}  // namespace zentara
