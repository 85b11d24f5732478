#pragma once

#include "tuning/TagIterator.h"

#include <vector>

namespace velora {

/// How the attributes of the current element become numbers. The iterator is at the same element
/// before and after each call. Nothing fails: each comment says what a missing attribute counts as.
struct NodeParseUtils {
    /// The attribute "value": "true" is 1, "false" is 0, any other text the integer at its start.
    /// 0 if the attribute is missing or has no integer.
    static int parseValue(const TagIterator& it);
    /// The integers of the first attribute, whatever its name; empty without attributes.
    static std::vector<int> parseDataRow(const TagIterator& it);
    /// The rows of a matrix one after the other. A row is the first attribute of an element two
    /// levels below.
    static std::vector<int> parseMixMatrix(TagIterator& it);
};

}  // namespace velora
