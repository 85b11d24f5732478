#include "model/Integers.h"
#include "tests/support/LogCapture.h"
#include "tests/support/TestFiles.h"
#include "tuning/TagIterator.h"

#include <chrono>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

namespace velora::test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class TagIteratorTest : public testing::Test {
protected:
    int open(std::string_view xml) {
        it.clearAll();
        return it.init(dir.write("file.xml", xml));
    }

    LogCapture log;
    TempDir dir;
    TagIterator it;
};

TEST_F(TagIteratorTest, WalksSiblingsAndDescendsOverTheFirstChild) {
    ASSERT_EQ(open("<r>\n <a>\n  <b/>\n </a>\n <c>text</c><d/></r>"), 0);
    EXPECT_FALSE(it.isElementNode());  // the white space before <a>
    it.next();
    EXPECT_EQ(it.getNodeName(), "a");
    it.pushNode();
    it.childrenNext();
    EXPECT_EQ(it.getNodeName(), "b");
    EXPECT_FALSE(it.isChildrenValid());
    it.childrenNext();  // nowhere to go
    EXPECT_EQ(it.getNodeName(), "b");
    it.popNode();
    it.popNode();  // one too many
    EXPECT_EQ(it.getNodeName(), "a");
    EXPECT_EQ(log.count("E TagIterator: It's empty in node stack!"), 1U);
    it.next();
    it.next();
    EXPECT_EQ(it.getNodeName(), "c");
    it.pushNode();
    it.childrenNext();  // its only child is skipped
    EXPECT_FALSE(it.isCurValid() || it.isNextValid() || it.isElementNode() || it.isChildrenValid());
    EXPECT_EQ(it.getNodeName(), "");
    it.next();
    it.popNode();
    it.next();
    EXPECT_FALSE(it.isNextValid());
    it.next();
    EXPECT_FALSE(it.isCurValid());
}

TEST_F(TagIteratorTest, ReadsAttributesByNameAndInOrder) {
    ASSERT_EQ(open("<r>\n<e a='1' b='2' c='&lt;&#10;é'/><g w='5' x=' -7' y='3x' z=''/></r>"), 0);
    std::vector<std::string> values{"old", "kept", "surplus"};
    it.parseNodeWithName(std::array<std::string_view, 1>{"a"}, values);  // on white space
    EXPECT_THAT(values, ElementsAre("old", "kept", "surplus"));
    it.next();
    it.parseNodeWithName(std::array<std::string_view, 2>{"b", "x"}, values);
    EXPECT_THAT(values, ElementsAre("2", "kept"));
    it.parseNodeWithName(std::array<std::string_view, 3>{"a", "a", "A"}, values);
    EXPECT_THAT(values, ElementsAre("1", "", ""));
    values.clear();
    it.parseNodeAll(values);
    EXPECT_THAT(values, ElementsAre("1", "2", "<\né"));
    EXPECT_THAT(it.getAttrsName(), ElementsAre("a", "b", "c"));
    EXPECT_EQ(it.getAttr("b") + it.getAttr("B"), "2");
    it.next();
    std::vector<int> numbers{9};
    it.parseNodeIntVector(numbers);
    EXPECT_THAT(numbers, ElementsAre(9, 5, -7, 3, 0));
    it.next();
    it.parseNodeIntVector(numbers);
    it.parseNodeAll(values);
    EXPECT_EQ(log.count("E TagIterator: Invalid node when parsing String vector."), 2U);
    EXPECT_THAT(it.getAttrsName(), IsEmpty());
}

TEST_F(TagIteratorTest, RefusesWhatItCannotReadWithTheReason) {
    EXPECT_EQ(it.init(""), -22);
    EXPECT_EQ(log.count("E TagIterator: Invalide xml file path, 40"), 1U);
    const std::string pipe = dir.path() / "pipe";
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    const std::pair<std::string, const char*> cases[] = {
        {dir.path(), "not a file"},
        {pipe, "not a file"},
        {"/dev/zero", "not a file"},
        {dir.path() / "missing.xml", "No such file"},
    };
    for (const auto& [path, reason] : cases) {
        EXPECT_EQ(it.init(path), -22) << path;
        EXPECT_THAT(LogCapture::lines().back(), HasSubstr(path + ": " + reason));
    }
    EXPECT_EQ(open("<r>\n\n<a b='></a>\n<c d='</c></r>"), -22);
    EXPECT_EQ(log.count("E TagIterator: fail to call xmlReadFile,  46"), 5U);
    EXPECT_THAT(LogCapture::lines().back(),
                HasSubstr("file.xml: line 3: Unescaped '<' not allowed in attributes values"));
    EXPECT_FALSE(it.isCurValid());
    EXPECT_EQ(open("<r/>"), 0);
    EXPECT_FALSE(it.isCurValid());
}

// Each would take gigabytes or hours if it were followed.
TEST_F(TagIteratorTest, HostileFilesEndInAnErrorWithinBounds) {
    const auto start = std::chrono::steady_clock::now();
    const auto refused = [&](const std::string& xml, const char* reason) {
        EXPECT_EQ(open(xml), -22);
        EXPECT_THAT(LogCapture::lines().back(), HasSubstr(reason));
    };
    refused(std::string(100 << 20, '<'), "too large");
    refused(std::string(3 << 20, '<'), "line 1: ");
    refused("<r>" + std::string(TagIterator::kMaxFileSize, ' ') + "</r>", "too large");
    std::string deep;
    for (int i = 0; i < 100000; ++i) deep += "<a>";
    refused(deep, "Excessive depth");
    const char* const kDeclared = "entities and attributes can't be declared";
    refused("<!DOCTYPE r [<!ENTITY a 'x'><!ENTITY b '&a;&a;'>]><r><a v='&b;'/></r>", kDeclared);
    refused("<!DOCTYPE r [<!ENTITY % p SYSTEM '/etc/passwd'> %p;]><r/>", kDeclared);
    refused("<!DOCTYPE r [<!ATTLIST a b (c|d) 'c'>]><r>\n<a/></r>", kDeclared);
    EXPECT_EQ(open("<!DOCTYPE r><r>\n<a/></r>"), 0);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(30));
}

TEST_F(TagIteratorTest, DocumentsOpenAndCloseOnManyThreads) {
    const std::string path = dir.write("shared.xml", "<r>\n<a v='1'/></r>");
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&] {
            for (int round = 0; round < 100; ++round) {
                TagIterator mine;
                EXPECT_EQ(mine.init(path), 0);
                mine.next();
                EXPECT_EQ(mine.getAttr("v"), "1");
            }
        });
    }
    for (auto& thread : threads) thread.join();
}

TEST(IntegersTest, ReadTheNumbersOfATextUpToTheFirstThatIsNone) {
    const std::pair<const char*, std::vector<const char*>> cases[] = {
        {"", {"", "abc", "+-5", "- 5", "2147483648", "99999999999999999999"}},
        {"1", {"1.9", "+1", "1abc", " \t\n1", "1,,2", "1 ,2", "1;2", "1,99999999999,3"}},
        {"2147483647,-2147483648,3",
         {"2147483647,-2147483648,3", "2147483647 -2147483648 3,", "2147483647, -2147483648,+3x"}},
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
