#include "tuning/NodeParseUtils.h"

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
    for (const Descent below(it, 2); below && it.isCurValid(); it.next()) {
        const std::vector<int> row = parseDataRow(it);
        matrix.insert(matrix.end(), row.begin(), row.end());
    }
    return matrix;
}

Descent::Descent(TagIterator& it, int levels) : mIterator(it) {
    mIterator.pushNode();
    for (; levels > 0 && mArrived; --levels) {
        mArrived = mIterator.isChildrenValid();
        mIterator.childrenNext();
    }
}

}  // namespace velora
