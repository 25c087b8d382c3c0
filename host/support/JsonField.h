// JsonField: JSON files that others write, read so that every refusal names file and place.
#pragma once

#include <cmath>
#include <string>
#include <utility>
#include <vector>

#include "host/support/HostError.h"
#include "host/support/Json.h"
#include "host/support/Text.h"

/// A value in a JSON file that knows its place there, so that every refusal names it.
class JsonField {
public:
    JsonField(const std::string& file, std::string place, const Json& value)
        : m_file(file), m_place(std::move(place)), m_value(value) {}

    [[noreturn]] void Fail(const std::string& message) const {
        throw HostError(m_file, (m_place.empty() ? "" : m_place + ": ") + message);
    }
    JsonField operator[](const char* key) const {
        if (!m_value.is_object() || !m_value.contains(key))
            Fail("expected an object with \"" + std::string(key) + "\"");
        return {m_file, m_place.empty() ? key : m_place + "." + key, m_value[key]};
    }
    /// The elements of an array, as `take` makes them of their fields.
    template <typename Take>
    auto Each(Take take) const {
        if (!m_value.is_array()) Fail("expected an array");
        std::vector<decltype(take(*this))> all;
        for (std::size_t i = 0; i < m_value.size(); ++i)
            all.push_back(take(JsonField(m_file, m_place + "[" + std::to_string(i) + "]", m_value[i])));
        return all;
    }
    bool IsNull() const { return m_value.is_null(); }
    std::string Text() const {
        if (!m_value.is_string()) Fail("expected a text");
        return OneLine(m_value.get<std::string>());
    }
    double Number(double lowest, double highest) const {
        const double value = m_value.is_number() ? m_value.get<double>() : std::nan("");
        if (!(value >= lowest && value <= highest)) {
            Fail("expected a number of " + ::Number(lowest, 0) + " to " + ::Number(highest, 0));
        }
        return value;
    }
    /// The names of the members of an object.
    std::vector<std::string> Keys() const {
        if (!m_value.is_object()) Fail("expected an object");
        std::vector<std::string> keys;
        for (const auto& member : m_value.items()) keys.push_back(member.key());
        return keys;
    }
    template <typename Integer>
    Integer Whole(Integer lowest, Integer highest) const {
        const double value = Number(static_cast<double>(lowest), static_cast<double>(highest));
        if (value != std::floor(value)) Fail("expected a whole number");
        return static_cast<Integer>(value);
    }

private:
    const std::string& m_file;
    std::string m_place;  // as in "beats[3].rr_ms", empty for the whole
    const Json& m_value;
};

/// The whole of a file. `what` it should be stands in the refusals. Throws HostError for a text that is no
/// JSON, is longer than `mostBytes` or has more than `mostParts` brackets and values.
Json ParseJsonFile(const std::string& path, const char* what, long long mostBytes, int mostParts);
