#pragma once

#include <memory>
#include <string_view>

#include "collector/forward/Sink.h"

namespace zentara::collector {

/// The name of the module for a URL, for example "kafka"; empty if there is none for it.
[[nodiscard]] std::string_view sinkModuleFor(std::string_view url);

/// Loads the module for `settings.url`, which stays loaded, and makes its sink. Throws
/// `std::runtime_error`.
[[nodiscard]] std::unique_ptr<Sink> makeSink(const Sink::Settings& settings);

}  // namespace zentara::collector
