#include "tests/support/LogCapture.h"
#include "tests/support/TestFiles.h"
#include "tuning/Signature.h"

#include <gtest/gtest.h>

namespace velora::test {
namespace {

TEST(SignatureTest, IsTheMd5OfAllBytes) {
    const TempDir dir;
    EXPECT_EQ(fileSignature(dir.write("empty", "")), "d41d8cd98f00b204e9800998ecf8427e");
    EXPECT_EQ(fileSignature(dir.write("abc", "abc")), "900150983cd24fb0d6963f7d28e17f72");
    const std::string several = dir.write("several parts", std::string(70000, 'a'));
    EXPECT_EQ(fileSignature(several), "0b21388e04a856f824a29c58d71c8d40");
}

TEST(SignatureTest, IsEmptyForAFileThatCannotBeRead) {
    const LogCapture log;
    for (const std::string path : {"/missing", "/proc/self", "/proc/self/mem"}) {
        EXPECT_EQ(fileSignature(path), "");
        EXPECT_EQ(log.count("E Signature: can't make the signature of " + path + ": ..."), 1U);
    }
}

}  // namespace
}  // namespace velora::test
