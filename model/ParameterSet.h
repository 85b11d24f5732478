#pragma once

#include "model/Parameter.h"

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>

namespace velora {

/// A set of parameters, one bit each, iterated in ascending order. Usable at compile time.
class ParameterSet {
public:
    constexpr ParameterSet() = default;

    /// Every parameter that belongs to a kind of record.
    static constexpr ParameterSet of(RecordKind record) {
        ParameterSet set;
        for (const ParameterInfo& info : kParameters) {
            if (info.record == record) set = set | info.parameter;
        }
        return set;
    }

    /// False for a number that isn't a parameter.
    constexpr bool contains(Parameter parameter) const {
        const auto index = static_cast<uint32_t>(parameter);
        return isParameter(parameter) && (mBits[index / 64] >> (index % 64) & 1) != 0;
    }
    constexpr size_t size() const {
        int count = 0;
        for (const uint64_t bits : mBits) count += std::popcount(bits);
        return static_cast<size_t>(count);
    }

    /// The set with one parameter added; a number that isn't a parameter adds nothing.
    friend constexpr ParameterSet operator|(ParameterSet set, Parameter parameter) {
        const auto index = static_cast<uint32_t>(parameter);
        if (isParameter(parameter)) set.mBits[index / 64] |= uint64_t{1} << (index % 64);
        return set;
    }
    friend constexpr ParameterSet operator|(ParameterSet a, const ParameterSet& b) {
        a.mBits[0] |= b.mBits[0];
        a.mBits[1] |= b.mBits[1];
        return a;
    }

    class Iterator {
    public:
        constexpr Iterator(const ParameterSet* set, int32_t at) : mSet(set), mAt(at) {
            skipAbsent();
        }
        constexpr Parameter operator*() const { return static_cast<Parameter>(mAt); }
        constexpr Iterator& operator++() {
            ++mAt;
            skipAbsent();
            return *this;
        }
        constexpr bool operator!=(const Iterator& other) const { return mAt != other.mAt; }

    private:
        static constexpr auto kEnd = static_cast<int32_t>(kNumParameters);

        constexpr void skipAbsent() {
            while (mAt < kEnd && !mSet->contains(static_cast<Parameter>(mAt))) ++mAt;
        }

        const ParameterSet* mSet;
        int32_t mAt;
    };
    constexpr Iterator begin() const { return {this, 0}; }
    constexpr Iterator end() const { return {this, static_cast<int32_t>(kNumParameters)}; }

private:
    std::array<uint64_t, 2> mBits{};
};

}  // namespace velora
