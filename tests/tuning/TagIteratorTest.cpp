#include "tests/support/LogCapture.h"
#include "tests/support/TestFiles.h"
#include "tuning/TagIterator.h"
#include "util/Integers.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

namespace velora::test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

class TagIteratorTest : public testing::Test {
protected:
    LogCapture log;
    TempDir dir;
    TagIterator it;
};

TEST_F(TagIteratorTest, WalksNodesAndReadsAttributesAndStaysWhereThereIsNone) {
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
    it.childrenNext();  // no further
    EXPECT_EQ(it.getNodeName(), "b");
    it.popNode();
    it.popNode();  // one too many
    EXPECT_EQ(log.count("E TagIterator: It's empty in node stack!"), 1U);
    EXPECT_EQ(it.getNodeName(), "a");
    it.next();
    it.childrenNext();  // its only child is skipped
    it.next();
    EXPECT_FALSE(it.isCurValid() || it.isNextValid() || it.isElementNode() || it.isChildrenValid());
    EXPECT_TRUE(it.getNodeName().empty());
}

// The large ones would take gigabytes or hours if they were followed.
TEST_F(TagIteratorTest, WhatCannotBeReadIsRefusedWithTheReason) {
    EXPECT_EQ(it.init(""), -22);
    EXPECT_EQ(log.count("E TagIterator: Invalide xml file path, 40"), 1U);
    const std::string pipe = dir.path() / "pipe";
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    auto file = [&, files = 0](std::string_view xml) mutable {
        return dir.write(std::to_string(++files), xml);
    };
    std::string deep;
    for (int i = 0; i < 100000; ++i) deep += "<a>";
    const std::string declared = "entities and attributes can't be declared";
    const std::pair<std::string, std::string> cases[] = {
        {dir.path(), "not a file"},
        {pipe, "not a file"},
        {"/dev/zero", "not a file"},
        {dir.path() / "missing.xml", "No such file"},
        {file("<r>\n\n<a b='></a>\n<c d='</c></r>"), "line 3: Unescaped '<' not allowed"},
        {file(std::string(100 << 20, '<')), "too large"},
        {file("<r>" + std::string(TagIterator::kMaxFileSize, ' ') + "</r>"), "too large"},
        {file(deep), "line 1: Excessive depth"},
        {file("<!DOCTYPE r [<!ENTITY a 'x'><!ENTITY b '&a;&a;'>]><r><a v='&b;'/></r>"), declared},
        {file("<!DOCTYPE r [<!ENTITY % p SYSTEM '/etc/passwd'> %p;]><r/>"), declared},
        {file("<!DOCTYPE r [<!ATTLIST a b (c|d) 'c'>]><r>\n<a/></r>"), declared},
    };
    for (const auto& [path, reason] : cases) {
        EXPECT_EQ(it.init(path), -22);
        EXPECT_THAT(LogCapture::lines().back(), HasSubstr(path));
        EXPECT_THAT(LogCapture::lines().back(), HasSubstr(reason));
        EXPECT_FALSE(it.isCurValid());
    }
    EXPECT_EQ(log.count("E TagIterator: fail to call xmlReadFile,  46"), std::size(cases));
    EXPECT_EQ(it.init(file("<!DOCTYPE r><r>\n<a/></r>")), 0);
}

TEST(IntegersTest, ReadTheNumbersOfATextUpToTheFirstThatIsNone) {
    const std::pair<const char*, std::vector<const char*>> cases[] = {
        {"", {"", "abc", "+-5", "- 5", "2147483648", "99999999999999999999"}},
        {"1", {"1.9", "+1", "1abc", " \t\n1", "1,,2", "1 ,2", "1;2", "1,99999999999,3"}},
        {"2147483647,-2147483648,3", {"2147483647 -2147483648 3,", "2147483647, -2147483648,+3x"}},
    };
    for (const auto& [values, texts] : cases) {
        for (const char* text : texts) {
            std::vector<int> read;
            string2IntVector(text, read);
            EXPECT_EQ(intVector2String(read), values) << text;
            EXPECT_EQ(string2Int(text), read.empty() ? 0 : read[0]) << text;
        }
    }
}

}  // namespace
}  // namespace velora::test
