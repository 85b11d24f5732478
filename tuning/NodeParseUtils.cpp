#include "tuning/NodeParseUtils.h"

#include "tuning/ElementsBelow.h"
#include "util/Integers.h"

namespace velora {

int NodeParseUtils::parseValue(const TagIterator& it) {
    const std::string text = it.getAttr("value");
    if (text == "true") return 1;
    if (text == "false") return 0;
    return string2Int(text);
}

std::vector<int> NodeParseUtils::parseDataRow(const TagIterator& it) {
    std::vector<std::string> attributes;
    it.parseNodeAll(attributes);
    std::vector<int> row;
    if (!attributes.empty()) string2IntVector(attributes.front(), row);
    return row;
}

std::vector<int> NodeParseUtils::parseMixMatrix(TagIterator& it) {
    std::vector<int> matrix;
    for (ElementsBelow rows(it, 2); rows; rows.next()) {
        const std::vector<int> row = parseDataRow(it);
        matrix.insert(matrix.end(), row.begin(), row.end());
    }
    return matrix;
}

}  // namespace velora
