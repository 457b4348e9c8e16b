#pragma once

namespace zentara {

/// The seam through which a logger can be injected; it has no operation yet.
class LoggerProtocol {
  public:
    virtual ~LoggerProtocol() = default;
};

class Logger final : public LoggerProtocol {};

}  // namespace zentara
