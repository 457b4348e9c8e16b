#pragma once

#include <cstddef>
#include <string>
#include <utility>

#include "schemas/files/SchemaFile.h"

namespace zentara::schemas {

/// Bounds the work for a schema: references can lead to more types than there are bytes.
class Work {
  public:
    /// `path`: of the schema, for the message.
    explicit Work(std::string path) : path_(std::move(path)) {}

    /// Throws `CommandError` when too much was spent. A unit takes about a quarter of a
    /// microsecond.
    void spend(std::size_t units) {
        spent_ += units;
        if (spent_ > most)
            throw CommandError(path_ + ": the references of the schema lead to too many types");
    }

  private:
    static constexpr std::size_t most = 5'000'000;

    std::string path_;
    std::size_t spent_ = 0;
};

}  // namespace zentara::schemas
