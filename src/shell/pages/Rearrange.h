// Reordering the page list and its caches: moving one element.
#pragma once

#include <cstddef>
#include <utility>
#include <vector>

namespace velumen {

// Takes the element out of `from` and inserts it at `to` when that is still within the shortened list,
// else appends it. Equal indices, or a `from` past the end, change nothing. Returns where the element is
// now (`from` when nothing moved).
template <typename T>
std::size_t moveObjectFromIndex(std::vector<T>& list, std::size_t from, std::size_t to) {
    if (from == to || from >= list.size()) return from;
    T item = std::move(list[from]);
    list.erase(list.begin() + static_cast<std::ptrdiff_t>(from));
    if (to < list.size()) {
        list.insert(list.begin() + static_cast<std::ptrdiff_t>(to), std::move(item));
        return to;
    }
    list.push_back(std::move(item));
    return list.size() - 1;
}

}  // namespace velumen
