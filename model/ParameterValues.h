#pragma once

#include "model/ParameterSet.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace velora {

/// Base of every record that carries parameters: an ordered map from `Parameter` to its values, and
/// a mark that something changed since it was last saved.
///
/// Copied by value, map and mark. Whoever holds a record owns it; one thread at a time. Nothing
/// fails: what a record doesn't accept is refused with false.
class ParameterValues {
public:
    using Values = std::vector<int>;
    struct Entry {
        Parameter parameter;
        Values values;  ///< may be empty
        bool operator==(const Entry&) const = default;
    };

    /// Row of the record in the database; -1 when it was never stored.
    virtual int64_t getId() const = 0;
    virtual bool isDirty() const { return mDirty; }
    virtual void setDirty(bool dirty) { mDirty = dirty; }
    virtual ~ParameterValues() = default;
    /// The parameters that `checkAndUpdate` accepts.
    virtual const ParameterSet& getValidParams() const = 0;

    /// Stores `values` under any `parameter`, and marks the record dirty. For what comes from files
    /// and database: whether the parameter is valid here isn't asked. A number that is no parameter
    /// is ignored.
    void set(Parameter parameter, Values values);
    /// Stores what a client asks for: false, and nothing stored, if the parameter isn't valid here
    /// or has these values already. A valid parameter has an entry afterwards in any case.
    bool checkAndUpdate(Parameter parameter, Values values);
    /// Gives the record exactly the parameters of `params`: an empty list where it had none, and
    /// drops the rest. Returns what it dropped. The mark stays as it was.
    ParameterSet completeTo(const ParameterSet& params);

    /// The values of `parameter`: null, or an empty list, if it has no entry. The result stands
    /// until the record is changed.
    const Values* find(Parameter parameter) const;
    const Values& get(Parameter parameter) const;
    /// The first value of `parameter`, or `fallback` if it has none.
    int firstOf(Parameter parameter, int fallback) const;

    /// The entries, ascending by parameter.
    auto begin() const { return mValues.begin(); }
    auto end() const { return mValues.end(); }
    size_t size() const { return mValues.size(); }

    /// Same parameters with the same values; the mark and a record's other fields don't count.
    bool equals(const ParameterValues& other) const { return mValues == other.mValues; }

    /// One line per entry but `ieq_id`: its name, "=", each value followed by ",", a line feed.
    std::string valuesToString() const;

protected:
    explicit ParameterValues(bool dirty) : mDirty(dirty) {}
    ParameterValues(const ParameterValues&) = default;
    ParameterValues& operator=(const ParameterValues&) = default;

private:
    std::vector<Entry>::iterator placeOf(Parameter parameter);
    Entry& entryOf(Parameter parameter);

    bool mDirty;
    std::vector<Entry> mValues;  ///< sorted by parameter
};

}  // namespace velora
