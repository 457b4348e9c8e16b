#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <zentara/ZentaraClient.h>
#include <zentara/zentara.h>

namespace zentara::c {

enum class HandleKind : std::uint32_t {
    released = 0,
    client = 0x5A4E5401,
    error = 0x5A4E5402,
    event = 0x5A4E5403,
    properties = 0x5A4E5404,
    outgoing = 0x5A4E5405,
};

/// What releases a handle. The library's own are lent to callbacks.
enum class HandleOwner { host, library };

/// The head of everything that a handle points to.
class Handle {
  public:
    Handle(HandleKind kind, HandleOwner owner) noexcept : owner_(owner), kind_(kind) {}
    ~Handle() { kind_ = HandleKind::released; }
    Handle(const Handle&) = delete;
    Handle& operator=(const Handle&) = delete;

    [[nodiscard]] bool is(HandleKind kind) const noexcept { return kind_ == kind; }
    [[nodiscard]] HandleOwner owner() const noexcept { return owner_; }

  private:
    /// The allocator writes over the first words of what is released, which keeps its kind.
    [[maybe_unused]] void* unused_[2] = {};
    const HandleOwner owner_;
    /// Volatile, or the compiler leaves out the write of the destructor.
    volatile HandleKind kind_;
};

}  // namespace zentara::c

// The types that the handles of the C interface point to.

struct zentara_client : zentara::c::Handle {
    static constexpr auto kind = zentara::c::HandleKind::client;

    explicit zentara_client(std::shared_ptr<zentara::ZentaraClient> shared)
        : Handle(kind, zentara::c::HandleOwner::host), client(std::move(shared)) {}

    /// Owns the client only. The shared pointer of the process may own more, and with it a handle.
    const std::shared_ptr<zentara::ZentaraClient> client;
};

struct zentara_error : zentara::c::Handle {
    static constexpr auto kind = zentara::c::HandleKind::error;

    explicit zentara_error(zentara::ZentaraClientErrorRef shared,
                           zentara::c::HandleOwner owner = zentara::c::HandleOwner::host)
        : Handle(kind, owner), error(std::move(shared)) {}

    const zentara::ZentaraClientErrorRef error;
};

struct zentara_event : zentara::c::Handle {
    static constexpr auto kind = zentara::c::HandleKind::event;

    explicit zentara_event(zentara::EventRef shared,
                           zentara::c::HandleOwner owner = zentara::c::HandleOwner::host)
        : Handle(kind, owner), event(std::move(shared)) {}

    const zentara::EventRef event;  ///< owns nothing if the event lives during a call only
};

struct zentara_properties : zentara::c::Handle {
    static constexpr auto kind = zentara::c::HandleKind::properties;

    /// An array or an object that is not closed yet, and its key in the container around it.
    struct Level {
        zentara::JSONValue container;
        std::string key;
    };

    explicit zentara_properties(zentara::JSONObject object = {},
                                zentara::c::HandleOwner owner = zentara::c::HandleOwner::host)
        : Handle(kind, owner), root(std::move(object)) {}

    zentara::JSONValue root;  ///< always an object
    std::vector<Level> open;  ///< from the outermost to the innermost
    std::optional<std::string> nextKey;
};
