// IndexOf: where an element stands that a search of the standard library has found.
#pragma once

#include <cstddef>
#include <iterator>

/// Index of the element at `found`, an iterator into `all`; the size for its end.
template <typename Range, typename Iterator>
std::size_t IndexOf(const Range& all, Iterator found) {
    return static_cast<std::size_t>(std::distance<typename Range::const_iterator>(all.begin(), found));
}
