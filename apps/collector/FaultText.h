#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "collector/Faults.h"

namespace zentara::collector {

using ServiceFaults = std::vector<std::pair<Service, Fault>>;

/// Reads a fault in JSON, for example
///     {"answer":"status","status":503,"rate":0.5,"times":3,"latency":200,"readingPace":1000}
/// Every member is optional; a status alone means the answer "status". The alternative is the
/// reason why the text is not a fault.
[[nodiscard]] std::variant<Fault, std::string> readFault(std::string_view json);

/// Reads a fault of the command line: a service, or "all", and the same members, for example
/// "event:answer=lost,rate=0.1". The alternative is the reason why it is not a fault.
[[nodiscard]] std::variant<ServiceFaults, std::string> readFaultOption(std::string_view option);

/// The current faults as JSON: {"schemas":null,"id":null,"event":{"answer":"lost",...}}
[[nodiscard]] std::string faultsText(const Faults& faults);

}  // namespace zentara::collector
