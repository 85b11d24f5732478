#include "tests/support/TestFiles.h"
#include "tuning/Signature.h"
#include "tuning/TagLimits.h"
#include "tuning/XmlFile.h"

#include <cerrno>
#include <cstring>
#include <optional>

#include <gmock/gmock.h>
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

/// A text many times, each with the number of the time in place of "#".
std::string numbered(int times, const std::string& text) {
    std::string all;
    for (int i = 0; i < times; ++i) all += replaced(text, "#", std::to_string(i));
    return all;
}

/// The error for a document that is given in blocks of a size.
std::string errorOf(std::string_view document, size_t blockSize) {
    TagLimits limits;
    while (limits.accept(document.substr(0, blockSize)) && document.size() > blockSize) {
        document.remove_prefix(blockSize);
    }
    return limits.error();
}

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
    const std::string declared = "line 1: declarations are not allowed";
    const std::pair<std::string, std::string> cases[] = {
        // contents, reason
        {"<r>\n\n<a b='></a>\n<c d='</c></r>", "line 3: Unescaped '<' not allowed"},
        {"<r>\n<undeclared:a/>\n<b></r>", "line 3: Opening and ending tag mismatch"},
        {"<r>" + std::string(XmlFile::kMaxSize, ' ') + "</r>", "too large"},
        {numbered(100000, "<a>"), "line 1: Excessive depth"},
        {"<r>" + numbered(10100, "<n#/>\n") + "</r>", ": a file has at most 10000 different names"},
        {numbered(257, "<a xmlns:n#='urn:n'>") + std::string(4000, ' '),
         "line 1: at most 256 namespace"},
        {"<r>" + numbered(2000, "<undeclared:a/>\n") + "</r>",
         "line 1001: Namespace prefix undeclared on a is not defined"},
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

TEST(TagLimitsTest, OnlyLargeStartTagsAreRefusedWhereverABlockEnds) {
    const std::string many = "<a" + numbered(257, " b#='\">'") + "/>";
    const std::string tooMany =
        "line 2: a start tag has at most 256 attributes and namespace declarations; remove some";
    const std::string tooLong =
        "line 2: a start tag has at most 16384 bytes; shorten or remove attributes";
    const std::string quotes(20000, '"');
    const std::pair<std::string, std::string> cases[] = {
        // line 2 and what follows, error
        {"<a" + numbered(256, " b#='\">'") + "/>" + "<a b='" + std::string(16376, '\n') + "'>", ""},
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
