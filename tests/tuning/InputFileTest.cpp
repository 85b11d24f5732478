#include "tests/support/TestFiles.h"
#include "tuning/Signature.h"
#include "tuning/XmlFile.h"

#include <cerrno>
#include <cstring>
#include <optional>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <libxml/encoding.h>
#include <libxml/parser.h>
#include <sys/stat.h>

/// What read(2) does in this program, which is linked with --wrap=read, at the end of a file.
static ssize_t (*readAtEnd)(void* bytes, size_t size) = nullptr;

extern "C" ssize_t __real_read(int file, void* bytes, size_t size);

extern "C" ssize_t __wrap_read(int file, void* bytes, size_t size) {
    const ssize_t count = __real_read(file, bytes, size);
    return count == 0 && readAtEnd != nullptr ? readAtEnd(bytes, size) : count;
}

namespace velora::test {
namespace {

using testing::HasSubstr;

class XmlFileTest : public testing::Test {
protected:
    ~XmlFileTest() override { readAtEnd = nullptr; }

    std::string write(std::string_view xml) const { return dir.write("file", xml); }

    TempDir dir;
};

TEST_F(XmlFileTest, OnlyPlainFilesAreRead) {
    const std::string pipe = dir.path() / "pipe";
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    EXPECT_EQ(XmlFile(pipe).error(), "not a file");
    EXPECT_EQ(XmlFile("/proc").error(), "not a file");
    EXPECT_EQ(XmlFile("/dev/zero").error(), "not a file");
}

// Some would take gigabytes or hours if they were read to their end.
TEST_F(XmlFileTest, BadContentsAreRefusedWithTheReason) {
    std::string deep;
    for (int i = 0; i < 100000; ++i) deep += "<a>";
    const std::string declared = "line 1: declarations are not allowed";
    std::string names;
    for (int i = 0; i < 10100; ++i) names += "<n" + std::to_string(i) + "/>\n";
    std::string namespaces;
    for (int i = 0; i < 257; ++i) namespaces += "<a xmlns:n" + std::to_string(i) + "='urn:n'>";
    std::string prefixes;
    for (int i = 0; i < 2000; ++i) prefixes += "<undeclared:a/>\n";
    const std::pair<std::string, std::string> cases[] = {
        // contents, reason
        {"<r>\n\n<a b='></a>\n<c d='</c></r>", "line 3: Unescaped '<' not allowed"},
        {"<r>\n<undeclared:a/>\n<b></r>", "line 3: Opening and ending tag mismatch"},
        {"<r>" + std::string(XmlFile::kMaxSize, ' ') + "</r>", "too large"},
        {deep, "line 1: Excessive depth"},
        {"<r>" + names + "</r>", ": a file has at most 10000 different names"},
        {namespaces + std::string(4000, ' '), "line 1: at most 256 namespace"},
        {"<r>" + prefixes + "</r>", "line 1001: Namespace prefix undeclared on a is not defined"},
        {"<r>\n" + std::string(9000, ' ') + "<a b='" + std::string(16377, ' ') + "'/></r>",
         "line 2: a start tag has at most 16384 bytes"},
        {"<?xml version='1.0' encoding='UTF-7'?><r/>", "line 1: the encoding UTF-7 is not"},
        {std::string("<\0r\0/\0>\0", 8).insert(0, "\xFF\xFE"), "the encoding UTF-16LE is not"},
        {"<!DOCTYPE r [<!ENTITY a 'x'><!ENTITY b '&a;&a;'>]><r><a v='&b;'/></r>", declared},
        {"<!DOCTYPE r [<!ENTITY % p SYSTEM '/etc/passwd'> %p;]><r/>", declared},
        {"<!DOCTYPE r [<!ATTLIST a b (c|d) 'c'>]><r>\n<a/></r>", declared},
    };
    for (const auto& [xml, reason] : cases) {
        EXPECT_THAT(XmlFile(write(xml)).error(), HasSubstr(reason));
    }
}

TEST_F(XmlFileTest, NamespacesAndEncodingsOfSingleBytesAreRead) {
    const XmlFile file(
        write("<?xml version='1.0' encoding='Windows-1252'?><!DOCTYPE r [ ]>"
              "<r xmlns:p='urn:p'><p:a b='\xE9'/><q:a/></r>"));
    ASSERT_TRUE(file.isRead()) << file.error();
    const xmlNode* const first = file.root()->children;
    EXPECT_STREQ(reinterpret_cast<const char*>(first->name), "a");
    EXPECT_STREQ(reinterpret_cast<const char*>(first->properties->children->content), "é");
    EXPECT_STREQ(reinterpret_cast<const char*>(first->next->name), "q:a");
}

TEST_F(XmlFileTest, AFileThatGrowsWhileItIsReadIsRefused) {
    readAtEnd = [](void* bytes, size_t size) {
        memset(bytes, ' ', size);
        return static_cast<ssize_t>(size);
    };
    EXPECT_EQ(XmlFile(write("<r>")).error(), "too large");
}

TEST_F(XmlFileTest, AReadErrorIsNotTakenForTheEndOfTheFile) {
    readAtEnd = [](void*, size_t) {
        errno = EIO;
        return ssize_t{-1};
    };
    // The document is complete long before the error.
    const XmlFile file(write("<r/>" + std::string(100000, ' ')));
    EXPECT_EQ(file.error(), "Input/output error");
    EXPECT_FALSE(file.isRead());
}

TEST_F(XmlFileTest, WhiteSpaceIsKeptWhateverTheDefaultOfTheProcess) {
    const int before = xmlKeepBlanksDefault(0);
    const XmlFile file(write("<r>\n <a/>\n</r>"));
    xmlKeepBlanksDefault(before);
    EXPECT_EQ(file.root()->children->type, XML_TEXT_NODE);
}

TEST_F(XmlFileTest, Libxml2IsCleanedUpAfterTheLastFile) {
    std::optional<XmlFile> first(write("<r/>"));
    std::optional<XmlFile> second(write("<r/>"));
    xmlAddEncodingAlias("UTF-8", "UNTIL CLEANED UP");
    first.reset();
    EXPECT_NE(xmlGetEncodingAlias("UNTIL CLEANED UP"), nullptr);
    second.reset();
    EXPECT_EQ(xmlGetEncodingAlias("UNTIL CLEANED UP"), nullptr);
}

TEST(SignatureTest, IsTheMd5OfAllBytes) {
    const TempDir dir;
    EXPECT_EQ(fileSignature(dir.write("abc", "abc")), "900150983cd24fb0d6963f7d28e17f72");
    const std::string severalParts = dir.write("a", std::string(70000, 'a'));
    EXPECT_EQ(fileSignature(severalParts), "0b21388e04a856f824a29c58d71c8d40");
}

TEST(SignatureTest, IsEmptyForAFileThatCannotBeRead) {
    EXPECT_EQ(fileSignature("/missing"), "");
    EXPECT_EQ(fileSignature("/proc/self/mem"), "") << "can be opened, but not read";
}

}  // namespace
}  // namespace velora::test
