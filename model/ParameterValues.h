#pragma once

#include "model/ParameterSet.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace velora {

/// Base of every record that carries parameters: an ordered map from `Parameter` to its values, and
/// a flag, dirty, for a record that changed since it was last saved.
///
/// A copy has the values and the flag of its original. One thread at a time. No operation fails; a
/// parameter that the record doesn't accept is refused with false.
class ParameterValues {
public:
    using Values = std::vector<int>;
    struct Entry {
        Parameter parameter;
        Values values;  ///< may be empty
        bool operator==(const Entry&) const = default;
    };

    /// Rowid in the database; -1 if the record was never stored.
    virtual int64_t getId() const = 0;
    /// Part of the vendor's contract, without a caller here.
    virtual bool isDirty() const { return mDirty; }
    virtual void setDirty(bool dirty) { mDirty = dirty; }
    virtual ~ParameterValues() = default;
    /// The parameters that `checkAndUpdate` accepts.
    virtual const ParameterSet& getValidParams() const = 0;

    /// Stores `values` under `parameter` and marks the record dirty, even if nothing changed. For
    /// trusted sources (tuning file, database): doesn't check that the parameter is valid in this
    /// record. A number that isn't a parameter is ignored.
    void set(Parameter parameter, Values values);
    /// Stores the values that a client asks for and marks the record dirty. False, and neither, if
    /// the parameter isn't valid in this record or has these values already. A valid parameter that
    /// had no entry has one afterwards, an empty one if this returns false.
    bool checkAndUpdate(Parameter parameter, Values values);
    /// Gives the record exactly the parameters of `params`: adds an empty list for each that it
    /// lacks and removes all others. Returns those removed. Doesn't change the dirty flag.
    ParameterSet completeTo(const ParameterSet& params);

    /// The values of `parameter`. Without an entry, `find` returns null and `get` an empty list.
    /// The result remains valid until the record is changed.
    const Values* find(Parameter parameter) const;
    const Values& get(Parameter parameter) const;
    /// The first value of `parameter`, or `fallback` if it has none.
    int firstOf(Parameter parameter, int fallback) const;

    /// The entries, ascending by parameter.
    auto begin() const { return mValues.begin(); }
    auto end() const { return mValues.end(); }
    size_t size() const { return mValues.size(); }

    /// Compares the entries only, neither the dirty flag nor the fields of a derived record.
    bool equals(const ParameterValues& other) const { return mValues == other.mValues; }

    /// One line per entry except `ieq_id`: name, "=", each value followed by ",", line feed.
    std::string valuesToString() const;

protected:
    explicit ParameterValues(bool dirty) : mDirty(dirty) {}
    ParameterValues(const ParameterValues&) = default;
    ParameterValues& operator=(const ParameterValues&) = default;

private:
    Entry& findOrInsert(Parameter parameter);

    bool mDirty;
    std::vector<Entry> mValues;  ///< ascending by parameter
};

}  // namespace velora
