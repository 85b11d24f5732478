#include "tuning/TagLimits.h"

#include <gtest/gtest.h>

namespace velora::test {
namespace {

/// The error for a document that is given in blocks of a size.
std::string errorOf(std::string_view document, size_t blockSize) {
    TagLimits limits;
    while (limits.accept(document.substr(0, blockSize)) && document.size() > blockSize) {
        document.remove_prefix(blockSize);
    }
    return limits.error();
}

std::string tagOf(size_t attributes) {
    std::string tag = "<a";
    for (size_t i = 0; i < attributes; ++i) tag += " b" + std::to_string(i) + "='\">'";
    return tag + "/>";
}

TEST(TagLimitsTest, OnlyLargeStartTagsAreRefusedWhereverABlockEnds) {
    const std::string many = tagOf(257);
    const std::string tooMany =
        "line 2: a start tag has at most 256 attributes and namespace declarations; remove some";
    const std::string tooLong =
        "line 2: a start tag has at most 16384 bytes; shorten or remove attributes";
    const std::string quotes(20000, '"');
    const std::pair<std::string, std::string> cases[] = {
        // line 2 and what follows, error
        {tagOf(256) + "<a b='" + std::string(16376, '\n') + "'>", ""},
        {"<a b='" + std::string(16377, 'x') + "'>", tooLong},
        {many, tooMany},
        {"<!-->" + many, ""},
        {"<!--<?<![CDATA['- ->-->" + many, tooMany},
        {"<![CDATA[<!--]>]]]>" + many, tooMany},
        {"<?p <!-- >\"?\?>" + many, tooMany},
        {"<a b='<!--' c='/>' d=\"'\"/>" + many, tooMany},
        {"it's --> ]]> ?></a\t>" + many, tooMany},
        {"<!DOCTYPE r SYSTEM '>[<!--' [ <!--'--> <?'?> ]>" + many, tooMany},
        {"<!DOCTYPE r [ <!ENTITY", "line 2: declarations are not allowed; remove them"},
        {"<!--" + quotes + "--><![CDATA[" + quotes + "]]><?p " + quotes + "?>", ""},
        {"<!DOCTYPE " + quotes + " [" + quotes + "]>" + quotes + "</a " + quotes, ""},
    };
    for (const auto& [part, error] : cases) {
        const std::string document = "<?xml?>\n" + part;
        for (const size_t blockSize : {size_t{1}, size_t{3}, document.size()}) {
            EXPECT_EQ(errorOf(document, blockSize), error) << part << " in blocks of " << blockSize;
        }
    }
}

}  // namespace
}  // namespace velora::test
