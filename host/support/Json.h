// Json: the files that results and truths are written to and read from, with keys in the order of writing.
#pragma once

#include <cmath>
#include <nlohmann/json.hpp>
#include <optional>

using Json = nlohmann::ordered_json;

/// Not a number is null, and so is what is not there.
inline Json Value(double value) { return std::isnan(value) ? Json() : Json(value); }
inline Json Value(const std::optional<double>& value) { return value ? Json(*value) : Json(); }
