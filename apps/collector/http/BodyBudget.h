#pragma once

#include <atomic>
#include <cstddef>
#include <memory>
#include <utility>

namespace zentara::collector {

/// The memory that the bodies of all requests may take together. Any thread.
class BodyBudget {
  public:
    explicit BodyBudget(std::size_t bytes) : left_(bytes) {}

    /// What one body takes of it, given back at the end. For one thread at a time.
    class Share {
      public:
        explicit Share(std::shared_ptr<BodyBudget> budget) : budget_(std::move(budget)) {}
        ~Share();
        Share(const Share&) = delete;
        Share& operator=(const Share&) = delete;

        /// False, and nothing changes, when not as much is left.
        [[nodiscard]] bool growTo(std::size_t bytes);

      private:
        const std::shared_ptr<BodyBudget> budget_;
        std::size_t bytes_ = 0;
    };

  private:
    std::atomic<std::size_t> left_;
};

}  // namespace zentara::collector
