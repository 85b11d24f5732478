#pragma once

#include <utility>

#include <utils/SortedVector.h>

namespace android {

/// A map kept as an array of pairs, ascending by key and accessed by key or by index.
template <typename Key, typename Value>
class KeyedVector {
public:
    size_t size() const { return mPairs.size(); }
    const Key& keyAt(size_t index) const { return mPairs[index].key; }
    const Value& valueAt(size_t index) const { return mPairs[index].value; }

    /// Index of `key`, or NAME_NOT_FOUND.
    ssize_t indexOfKey(const Key& key) const { return mPairs.indexOf(key); }
    /// Inserts the pair, or replaces the value of an existing key. Returns its index.
    ssize_t add(const Key& key, Value value) { return mPairs.add({key, std::move(value)}); }
    void removeItemsAt(size_t index, size_t count = 1) { mPairs.removeItemsAt(index, count); }
    void clear() { mPairs.clear(); }

private:
    struct Pair {
        Key key;
        Value value;
        friend bool operator<(const Pair& a, const Pair& b) { return a.key < b.key; }
        friend bool operator<(const Pair& a, const Key& b) { return a.key < b; }
        friend bool operator<(const Key& a, const Pair& b) { return a < b.key; }
    };
    SortedVector<Pair> mPairs;
};

/// A `KeyedVector` that returns a default value for an absent key.
template <typename Key, typename Value>
class DefaultKeyedVector : public KeyedVector<Key, Value> {
public:
    explicit DefaultKeyedVector(Value defaultValue = Value()) : mDefault(std::move(defaultValue)) {}

    const Value& valueFor(const Key& key) const {
        const ssize_t index = this->indexOfKey(key);
        return index < 0 ? mDefault : this->valueAt(static_cast<size_t>(index));
    }

private:
    Value mDefault;
};

}  // namespace android
