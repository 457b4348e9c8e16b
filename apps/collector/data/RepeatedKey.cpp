#include "collector/data/RepeatedKey.h"

#include <boost/json/basic_parser_impl.hpp>
#include <cstdint>
#include <limits>
#include <set>
#include <vector>

namespace zentara::collector {

namespace {

/// Hears of the parts of a JSON text; ends the reading at the first key that was there before.
class KeyListener {
  public:
    static constexpr std::size_t max_object_size = std::numeric_limits<std::size_t>::max();
    static constexpr std::size_t max_array_size = max_object_size;
    static constexpr std::size_t max_key_size = max_object_size;
    static constexpr std::size_t max_string_size = max_object_size;

    using Error = boost::json::error_code;
    using Text = boost::json::string_view;

    [[nodiscard]] const std::optional<std::string>& found() const { return found_; }

    bool on_object_begin(Error&) {
        keys_.emplace_back();
        return true;
    }
    bool on_object_end(std::size_t, Error&) {
        keys_.pop_back();
        return true;
    }
    bool on_key_part(Text part, std::size_t, Error&) {
        key_.append(part.data(), part.size());
        return true;
    }
    bool on_key(Text part, std::size_t, Error& error) {
        key_.append(part.data(), part.size());
        if (!keys_.back().insert(key_).second) {
            found_ = key_;
            error = boost::json::error::extra_data;
            return false;
        }
        key_.clear();
        return true;
    }

    bool on_document_begin(Error&) { return true; }
    bool on_document_end(Error&) { return true; }
    bool on_array_begin(Error&) { return true; }
    bool on_array_end(std::size_t, Error&) { return true; }
    bool on_string_part(Text, std::size_t, Error&) { return true; }
    bool on_string(Text, std::size_t, Error&) { return true; }
    bool on_number_part(Text, Error&) { return true; }
    bool on_int64(std::int64_t, Text, Error&) { return true; }
    bool on_uint64(std::uint64_t, Text, Error&) { return true; }
    bool on_double(double, Text, Error&) { return true; }
    bool on_bool(bool, Error&) { return true; }
    bool on_null(Error&) { return true; }
    bool on_comment_part(Text, Error&) { return true; }
    bool on_comment(Text, Error&) { return true; }

  private:
    std::vector<std::set<std::string>> keys_;  // of the objects that are open
    std::string key_;
    std::optional<std::string> found_;
};

}  // namespace

std::optional<std::string> repeatedKey(std::string_view json) {
    boost::json::parse_options options;
    options.max_depth = std::numeric_limits<std::size_t>::max();
    boost::json::basic_parser<KeyListener> parser(options);
    boost::json::error_code error;
    parser.write_some(false, json.data(), json.size(), error);
    return parser.handler().found();
}

}  // namespace zentara::collector
