#pragma once

#include "tuning/TagIterator.h"

#include <vector>

namespace velora {

/// How the attributes of an element become numbers. The iterator stands on the element before and
/// after each call. Nothing fails: what is missing or no number counts as said.
struct NodeParseUtils {
    /// The attribute "value": "true" is 1, "false" is 0, else the integer at its start; 0 if
    /// missing.
    static int parseValue(const TagIterator& it);
    /// The integers of the first attribute, whatever its name; empty without attributes.
    static std::vector<int> parseDataRow(const TagIterator& it);
    /// The rows of a matrix one after the other: the first attribute of every element two levels
    /// below.
    static std::vector<int> parseMixMatrix(TagIterator& it);
};

/// Goes down into the children of the current element, and comes back at the end of its scope:
///
///     for (const Descent below(it); below && it.isCurValid(); it.next()) ...
class Descent {
public:
    /// Each level leads where `TagIterator::childrenNext` leads.
    explicit Descent(TagIterator& it, int levels = 1);
    ~Descent() { mIterator.popNode(); }
    Descent(const Descent&) = delete;
    Descent& operator=(const Descent&) = delete;

    /// There were children at every level.
    explicit operator bool() const { return mArrived; }

private:
    TagIterator& mIterator;
    bool mArrived = true;
};

}  // namespace velora
