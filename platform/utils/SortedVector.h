#pragma once

#include <algorithm>
#include <cstddef>
#include <utility>
#include <vector>

#include <sys/types.h>

#include <utils/Errors.h>

namespace android {

/// A set kept as an array, ascending by `operator<` and accessed by index.
template <typename T>
class SortedVector {
public:
    size_t size() const { return mItems.size(); }
    const T& operator[](size_t index) const { return mItems[index]; }

    /// Inserts `item` in order, or replaces an equal one. Returns its index.
    ssize_t add(T item) {
        const auto place = std::lower_bound(mItems.begin(), mItems.end(), item);
        const ssize_t index = place - mItems.begin();

        if (place != mItems.end() && !(item < *place)) {
            *place = std::move(item);
        } else {
            mItems.insert(place, std::move(item));
        }

        return index;
    }

    /// Index of the item equal to `item`, or NAME_NOT_FOUND.
    template <typename Key>
    ssize_t indexOf(const Key& item) const {
        const auto place = std::lower_bound(mItems.begin(), mItems.end(), item);
        if (place == mItems.end() || item < *place) return NAME_NOT_FOUND;
        return place - mItems.begin();
    }

    void removeItemsAt(size_t index, size_t count = 1) {
        const auto first = mItems.begin() + static_cast<ssize_t>(index);
        mItems.erase(first, first + static_cast<ssize_t>(count));
    }

    void clear() { mItems.clear(); }

private:
    std::vector<T> mItems;
};

}  // namespace android
