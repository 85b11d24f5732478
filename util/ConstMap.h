#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <utility>

namespace velora {

/// A constant map: an array of pairs, sorted by key at compile time and searched by bisection.
/// Never allocates. Immutable, so any thread may use it.
template <typename Key, typename Value, size_t N>
class ConstMap {
public:
    using Pair = std::pair<Key, Value>;

    constexpr explicit ConstMap(std::array<Pair, N> pairs) : mPairs(pairs) {
        std::sort(mPairs.begin(), mPairs.end(), byKey);
    }

    /// The value of `key`, or null.
    constexpr const Value* find(const Key& key) const {
        const auto place =
            std::lower_bound(mPairs.begin(), mPairs.end(), key,
                             [](const Pair& pair, const Key& k) { return pair.first < k; });
        return place != mPairs.end() && place->first == key ? &place->second : nullptr;
    }

    /// False if a key occurs more than once; `find` then returns any of its values.
    constexpr bool isUnique() const {
        return std::adjacent_find(mPairs.begin(), mPairs.end(), [](const Pair& a, const Pair& b) {
                   return a.first == b.first;
               }) == mPairs.end();
    }

    static constexpr size_t size() { return N; }
    constexpr auto begin() const { return mPairs.begin(); }  ///< ascending by key
    constexpr auto end() const { return mPairs.end(); }

private:
    static constexpr bool byKey(const Pair& a, const Pair& b) { return a.first < b.first; }

    std::array<Pair, N> mPairs;
};

}  // namespace velora
