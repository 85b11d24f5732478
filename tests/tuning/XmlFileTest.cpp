#include "tests/support/TestFiles.h"
#include "tuning/XmlFile.h"

#include <cerrno>
#include <cstring>
#include <functional>
#include <optional>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <libxml/encoding.h>
#include <libxml/parser.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

/// Replaces read(2) in this program, which is linked with --wrap=read, while it is set.
std::function<ssize_t(int file, char* bytes, size_t size)> fakeRead;

}  // namespace

extern "C" ssize_t __real_read(int file, void* bytes, size_t size);

extern "C" ssize_t __wrap_read(int file, void* bytes, size_t size) {
    if (!fakeRead) return __real_read(file, bytes, size);
    return fakeRead(file, static_cast<char*>(bytes), size);
}

namespace velora::test {
namespace {

using testing::HasSubstr;

class XmlFileTest : public testing::Test {
protected:
    ~XmlFileTest() override { fakeRead = nullptr; }

    std::string write(std::string_view xml) {
        return dir.write("file" + std::to_string(++files), xml);
    }

    /// Lets a file end in the result of `end` instead of an end of file.
    static void endReadsWith(std::function<ssize_t(char* bytes, size_t size)> end) {
        fakeRead = [end = std::move(end)](int file, char* bytes, size_t size) {
            const ssize_t count = __real_read(file, bytes, size);
            return count != 0 ? count : end(bytes, size);
        };
    }

    TempDir dir;
    int files = 0;
};

// The large ones would take gigabytes or hours if they were read to their end.
TEST_F(XmlFileTest, AFileThatCannotBeReadHasAReason) {
    const std::string pipe = dir.path() / "pipe";
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    std::string deep;
    for (int i = 0; i < 100000; ++i) deep += "<a>";
    const std::string declared = "entities and attributes can't be declared";

    struct Case {
        std::string path;
        std::string reason;
    };
    const Case cases[] = {
        {dir.path(), "not a file"},
        {pipe, "not a file"},
        {"/dev/zero", "not a file"},
        {dir.path() / "missing.xml", "No such file"},
        {write("<r>\n\n<a b='></a>\n<c d='</c></r>"), "line 3: Unescaped '<' not allowed"},
        {write("<r>\n<undeclared:a/>\n<b></r>"), "line 3: Opening and ending tag mismatch"},
        {write("<r>" + std::string(XmlFile::kMaxSize, ' ') + "</r>"), "too large"},
        {write(deep), "line 1: Excessive depth"},
        {write("<!DOCTYPE r [<!ENTITY a 'x'><!ENTITY b '&a;&a;'>]><r><a v='&b;'/></r>"), declared},
        {write("<!DOCTYPE r [<!ENTITY % p SYSTEM '/etc/passwd'> %p;]><r/>"), declared},
        {write("<!DOCTYPE r [<!ATTLIST a b (c|d) 'c'>]><r>\n<a/></r>"), declared},
    };
    for (const auto& [path, reason] : cases) {
        const XmlFile file(path);
        EXPECT_THAT(file.error(), HasSubstr(reason));
        EXPECT_FALSE(file.isRead());
        EXPECT_EQ(file.root(), nullptr);
    }
    EXPECT_TRUE(XmlFile(write("<!DOCTYPE r><r>\n<a/></r>")).isRead());
}

TEST_F(XmlFileTest, AFileThatGrowsWhileItIsReadIsRefused) {
    endReadsWith([](char* bytes, size_t size) {
        memset(bytes, ' ', size);
        return static_cast<ssize_t>(size);
    });
    EXPECT_EQ(XmlFile(write("<r>")).error(), "too large");
}

TEST_F(XmlFileTest, AReadErrorIsNotTakenForTheEndOfTheFile) {
    endReadsWith([](char*, size_t) {
        errno = EIO;
        return -1;
    });
    // A document that is complete before the error, in several reads.
    const XmlFile file(write("<r/>" + std::string(100000, ' ')));
    EXPECT_EQ(file.error(), "Input/output error");
    EXPECT_FALSE(file.isRead());
}

TEST_F(XmlFileTest, AnInterruptedReadIsRepeated) {
    fakeRead = [interrupted = false](int file, char* bytes, size_t size) mutable {
        interrupted = !interrupted;
        if (!interrupted) return __real_read(file, bytes, size);
        errno = EINTR;
        return ssize_t{-1};
    };
    EXPECT_EQ(XmlFile(write("<r/>")).error(), "");
}

TEST_F(XmlFileTest, WhiteSpaceIsKeptWhateverTheDefaultOfTheProcess) {
    const int before = xmlKeepBlanksDefault(0);
    const XmlFile file(write("<r>\n <a/>\n</r>"));
    xmlKeepBlanksDefault(before);
    EXPECT_EQ(file.root()->children->type, XML_TEXT_NODE);
}

/// Whether libxml2 has been cleaned up since the last call.
bool isCleanedUp() {
    const bool cleaned = xmlGetEncodingAlias("REMEMBERED") == nullptr;
    xmlAddEncodingAlias("UTF-8", "REMEMBERED");
    return cleaned;
}

TEST_F(XmlFileTest, Libxml2IsCleanedUpAfterTheLastFile) {
    std::optional<XmlFile> first(write("<r/>"));
    std::optional<XmlFile> second(write("<r/>"));
    isCleanedUp();
    first.reset();
    EXPECT_FALSE(isCleanedUp());
    second.reset();
    EXPECT_TRUE(isCleanedUp());
}

// In a process of its own, as this can't be undone.
TEST_F(XmlFileTest, Libxml2IsNotCleanedUpOnceASecondThreadHasUsedIt) {
    const std::string path = write("<r/>");
    const auto useFromTwoThreads = [&] {
        std::optional<XmlFile> file(path);
        std::thread([&] { const XmlFile other(path); }).join();
        isCleanedUp();
        file.reset();
        _exit(isCleanedUp() ? 1 : 0);
    };
    EXPECT_EXIT(useFromTwoThreads(), testing::ExitedWithCode(0), "");
}

}  // namespace
}  // namespace velora::test
