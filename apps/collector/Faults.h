#pragma once

#include <array>
#include <cstdint>
#include <mutex>
#include <optional>
#include <random>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

namespace zentara::collector {

/// The services that the library uses.
enum class Service { schemas, id, event };

inline constexpr std::array allServices{Service::schemas, Service::id, Service::event};

[[nodiscard]] std::string_view nameOf(Service service);
[[nodiscard]] std::optional<Service> serviceNamed(std::string_view name);

/// The service of that name, all services for "all", or none.
[[nodiscard]] std::vector<Service> servicesNamed(std::string_view name);

/// How a service is to fail.
struct Fault {
    enum class Answer {
        normal,
        status,     ///< `status` instead of an answer; the request has no effect
        none,       ///< no answer; the request has no effect
        dropped,    ///< connection reset; the request has no effect
        lost,       ///< the request takes effect, then the connection is reset
        truncated,  ///< the request takes effect, then half of the answer's body
        garbage,    ///< the request takes effect, then a body that is not JSON (status 200)
        notHTTP,    ///< the request takes effect, then bytes that are not HTTP
    };

    static constexpr std::int64_t longestLatency = 10L * 60 * 1000;
    static constexpr std::int64_t longestRetryAfter = 24L * 3600;

    Answer answer = Answer::normal;
    int status = 503;                          ///< 200...599
    double rate = 1.0;                         ///< the share of requests affected, 0...1
    std::optional<std::uint64_t> times;        ///< ends after this many requests
    std::int64_t latency = 0;                  ///< milliseconds before the answer
    std::optional<std::uint64_t> readingPace;  ///< bytes of the body read a second, at least 1
    std::optional<std::uint64_t> retryAfter;   ///< seconds, in the header field of a `status`

    /// Whether it changes the answer to any request.
    [[nodiscard]] bool isEffective() const;

    /// The effect on a request, for records: `status 503`, `lost, latency 200 ms`.
    [[nodiscard]] std::string description() const;

    bool operator==(const Fault&) const = default;
};

/// The names of the answers on the command line and in JSON.
[[nodiscard]] std::string_view nameOf(Fault::Answer answer);
[[nodiscard]] std::optional<Fault::Answer> answerNamed(std::string_view name);

/// The faults of all services. Any thread.
class Faults {
  public:
    /// `seed` selects the requests for faults with a rate below 1.
    explicit Faults(std::uint64_t seed = std::random_device()());

    /// A fault without effect clears the current one.
    void set(Service service, const Fault& fault);
    void clear(Service service);
    void clear();

    /// The fault for the next request of `service`, if any. Counts the request.
    [[nodiscard]] std::optional<Fault> next(Service service);

    /// The current fault with the remaining times.
    [[nodiscard]] std::optional<Fault> current(Service service) const;

  private:
    mutable std::mutex mutex_;
    std::array<std::optional<Fault>, allServices.size()> faults_;  // guarded by mutex_
    std::mt19937_64 generator_;                                    // guarded by mutex_
};

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
