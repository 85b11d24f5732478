#pragma once

#include "model/ParameterSet.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace velora {

/// Base of every record that carries parameters. It has an ordered map from `Parameter` to a list
/// of values, and two flags. The dirty flag is part of the vendor's contract: it is set by every
/// `set`, also by those that read the record from the store. The mark of change says whether the
/// record must be stored: only a value that becomes another one sets it.
///
/// Whoever creates a record owns it; a copy has the values and the flag of its original. It is not
/// synchronised: only one thread at a time may use a record. No function reports an error.
class ParameterValues {
public:
    using Values = std::vector<int>;
    struct Entry {
        Parameter parameter;
        Values values;  ///< empty if the parameter has no value here
        bool operator==(const Entry&) const = default;
    };

    /// The id of the record's row in the database; -1 if it was never saved.
    virtual int64_t getId() const = 0;
    /// Nothing in this library calls `isDirty`; the vendor's code may.
    virtual bool isDirty() const { return mDirty; }
    virtual void setDirty(bool dirty) { mDirty = dirty; }
    /// Whether anything has become different since the mark was last cleared. Whoever stores the
    /// record, or has read it from the store, clears the mark.
    bool isChanged() const { return mChanged; }
    void setChanged(bool changed) { mChanged = changed; }
    virtual ~ParameterValues() = default;
    /// The parameters that `checkAndUpdate` accepts.
    virtual const ParameterSet& getValidParams() const = 0;

    /// Sets the values of `parameter` and marks the record dirty, even if they are the same.
    /// Doesn't check that the parameter is valid in this record, because it is for trusted sources:
    /// the tuning file and the database. Does nothing for a number that is no parameter.
    void set(Parameter parameter, Values values);
    /// Sets the values that a client asks for, marks the record dirty, and returns true. Returns
    /// false, and leaves values and flag unchanged, if the parameter isn't valid in this record or
    /// already has these values. An empty entry is added first for a valid parameter without one,
    /// so that asking for an empty list there returns false, too.
    bool checkAndUpdate(Parameter parameter, const Values& values);
    /// Makes the record contain entries for exactly the parameters in `params`: adds an empty entry
    /// for each missing one and removes all other entries. Returns the parameters of the removed
    /// entries. Doesn't change the dirty flag.
    ParameterSet completeTo(const ParameterSet& params);

    /// The values of `parameter`. Without an entry, `find` returns null and `get` returns an empty
    /// list. The result remains valid until the record is changed, assigned to or destroyed.
    const Values* find(Parameter parameter) const;
    const Values& get(Parameter parameter) const;
    /// The first value of `parameter`; `fallback` if its entry is missing or empty.
    int firstOf(Parameter parameter, int fallback) const;

    /// The entries, ascending by parameter.
    auto begin() const { return mValues.begin(); }
    auto end() const { return mValues.end(); }
    size_t size() const { return mValues.size(); }

    /// Compares the entries. Ignores the dirty flag and the fields of derived classes.
    bool equals(const ParameterValues& other) const { return mValues == other.mValues; }

    /// One line per entry, such as "ieq_target=1,2,". The entry `ieq_id` is omitted, since an IEQ
    /// preset's text form contains its number already.
    std::string valuesToString() const;

protected:
    explicit ParameterValues(bool dirty) : mDirty(dirty) {}
    /// Sets a field of a derived class, and the mark of change if it becomes different.
    template <typename Field>
    void setField(Field& field, Field value) {
        if (field != value) mChanged = true;
        field = std::move(value);
    }
    ParameterValues(const ParameterValues&) = default;
    ParameterValues& operator=(const ParameterValues&) = default;

private:
    Entry& findOrInsert(Parameter parameter);

    bool mDirty;
    bool mChanged = false;
    std::vector<Entry> mValues;  ///< ascending by parameter
};

}  // namespace velora
