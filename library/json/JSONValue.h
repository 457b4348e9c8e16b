#pragma once

#include <boost/json/array.hpp>
#include <boost/json/object.hpp>
#include <boost/json/string.hpp>
#include <boost/json/value.hpp>

namespace zentara {

/// Any JSON value: null, boolean, 64-bit integer, double, string, array or object.
using JSONValue = boost::json::value;

/// A string-keyed dictionary of JSON values that keeps the order in which keys were added.
using JSONObject = boost::json::object;

using JSONArray = boost::json::array;

}  // namespace zentara
