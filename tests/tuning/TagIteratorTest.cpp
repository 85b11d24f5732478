#include "tests/support/LogCapture.h"
#include "tests/support/TestFiles.h"
#include "tuning/TagIterator.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace velora::test {
namespace {

using testing::ElementsAre;

class TagIteratorTest : public testing::Test {
protected:
    LogCapture log;
    TempDir dir;
    TagIterator it;
};

TEST_F(TagIteratorTest, WalksNodesAndReadsTheirAttributes) {
    ASSERT_EQ(
        it.init(dir.write("f", "<r>\n <a k='1' l='&lt;&#10;é'>\n  <b/>\n </a><c>text</c></r>")), 0);
    std::vector<std::string> values{"old", "kept"};
    const std::string_view names[] = {"k", "x", "k", "K"};
    it.parseNodeWithName(names, values);  // on the white space before <a>
    it.next();
    EXPECT_THAT(values, ElementsAre("old", "kept"));
    it.parseNodeWithName(names, values);
    it.parseNodeAll(values);
    EXPECT_THAT(values, ElementsAre("1", "kept", "", "", "1", "<\né"));
    it.pushNode();
    it.childrenNext();
    it.childrenNext();  // <b/> has no children, so the cursor stays
    EXPECT_EQ(it.getNodeName(), "b");
    it.popNode();
    it.popNode();  // without a remembered node
    EXPECT_EQ(log.count("E TagIterator: It's empty in node stack!"), 1U);
    EXPECT_EQ(it.getNodeName(), "a");
    it.next();
    it.childrenNext();  // its only child is skipped
    it.next();
    EXPECT_FALSE(it.isCurValid());
    EXPECT_FALSE(it.isNextValid());
    EXPECT_FALSE(it.isElementNode());
}

TEST_F(TagIteratorTest, OpeningFailsWithALogLine) {
    EXPECT_EQ(it.init(""), -22);
    EXPECT_EQ(log.count("E TagIterator: Invalide xml file path, 40"), 1U);
    EXPECT_EQ(it.init("/missing.xml"), -22);
    EXPECT_EQ(log.count("E TagIterator: fail to call xmlReadFile,  46"), 1U);
    EXPECT_EQ(log.count("E TagIterator: /missing.xml: No such file or directory"), 1U);
}

}  // namespace
}  // namespace velora::test
