#pragma once

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <stdexcept>
#include <string>
#include <string_view>

#include "support/TestHost.h"

namespace zentara::bench {

/// A file that is written and renamed without any checks.
class BareFile {
  public:
    explicit BareFile(const test::TestHost& host)
        : names_{host.file("bare-a").string(), host.file("bare-b").string()},
          descriptor_(::open(names_[0].c_str(), O_RDWR | O_CREAT | O_TRUNC, 0600)) {}
    ~BareFile() {
        ::close(descriptor_);
        ::unlink(names_[at_].c_str());
    }
    BareFile(const BareFile&) = delete;
    BareFile& operator=(const BareFile&) = delete;

    void append(std::string_view bytes) {
        if (::write(descriptor_, bytes.data(), bytes.size()) < 0) throw std::runtime_error("write");
        rename();
    }
    void overwrite(std::string_view bytes) {
        if (::pwrite(descriptor_, bytes.data(), bytes.size(), 0) < 0)
            throw std::runtime_error("write");
        rename();
    }

  private:
    void rename() {
        if (::rename(names_[at_].c_str(), names_[1 - at_].c_str()) != 0)
            throw std::runtime_error("rename");
        at_ = 1 - at_;
    }

    const std::array<std::string, 2> names_;
    std::size_t at_ = 0;
    int descriptor_;
};

}  // namespace zentara::bench
