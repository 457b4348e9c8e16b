#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "network/URLSession.h"

namespace zentara::test {

/// An HTTP session without a network. It keeps the requests and answers each before `start`
/// returns, unless the test keeps the completion. Used by one thread.
class RecordingSession final : public URLSession {
  public:
    using Answer = std::function<void(const URLRequest&, Completion)>;

    void respond(Answer answer) { answer_ = std::move(answer); }
    void respond(int status, std::string body = "{}") {
        respond([status, body = std::move(body)](const URLRequest&, const Completion& done) {
            done(URLResponse{status, body});
        });
    }

    void start(URLRequest request, Completion completion) override {
        requests_.push_back(request);
        const auto answer = answer_;
        answer(request, std::move(completion));
    }

    void close(std::string cause) override {
        closedFor_ = std::move(cause);
        ++closings_;
    }
    void open() override { closedFor_.reset(); }
    [[nodiscard]] bool isOpen() const override { return !closedFor_; }
    [[nodiscard]] std::uint64_t closings() const override { return closings_; }

    [[nodiscard]] const std::vector<URLRequest>& requests() const { return requests_; }

    /// A header of the request at `index`.
    [[nodiscard]] std::optional<std::string> header(std::size_t index,
                                                    std::string_view name) const {
        for (const auto& [key, value] : requests_.at(index).headers) {
            if (key == name) return value;
        }
        return std::nullopt;
    }

  private:
    std::optional<std::string> closedFor_;
    std::uint64_t closings_ = 0;
    std::vector<URLRequest> requests_;
    Answer answer_ = [](const URLRequest&, const Completion& done) {
        done(URLResponse{200, "{}"});
    };
};

}  // namespace zentara::test
