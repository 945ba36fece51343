// Bases/Module.h on macOS: the calls of CoreFoundation, over a stand-in.

#include <gtest/gtest.h>

#include <climits>
#include <cstring>
#include <string>
#include <vector>

#include "Bases/Module.h"
#include "tests/mac/Bundle.h"

namespace {

using Novu::GetModuleDir;
using Novu::GetModulePath;
using Novu::GetProcessDir;
using NovuTest::BundleCalls;
using NovuTest::BundleUrlsAlive;

using Calls = std::vector<std::string>;
using ToBuffer = bool (*)(char*, unsigned long);

const ToBuffer kToBuffer[] = {GetProcessDir, GetModuleDir, GetModulePath};

const char kBundle[] = "CFBundleGetMainBundle";
const char kUrl[] = "CFBundleCopyBundleURL";
const char kPath[] = "CFURLGetFileSystemRepresentation";
const std::string kPathOf1024 = std::string(kPath) + " 1 1024";
const char kRelease[] = "CFRelease";

TEST(ModuleMacTest, TheBundlesUrlIsResolvedAndReleased) {
    for (const ToBuffer function : kToBuffer) {
        BundleCalls calls;
        char buffer[1024];
        EXPECT_TRUE(function(buffer, sizeof buffer));
        EXPECT_EQ((Calls{kBundle, kUrl, kPathOf1024, kRelease}), calls.Take());
        EXPECT_EQ(0UL, BundleUrlsAlive());
    }
}

TEST(ModuleMacTest, StringsAskForRoomOf1024Bytes) {
    for (void (*const function)(std::string&) :
         {static_cast<void (*)(std::string&)>(GetModulePath),
          static_cast<void (*)(std::string&)>(GetModuleDir)}) {
        BundleCalls calls;
        std::string text;
        function(text);
        EXPECT_EQ((Calls{kBundle, kUrl, kPathOf1024, kRelease}), calls.Take());
        char buffer[1024];
        ASSERT_TRUE(GetProcessDir(buffer, sizeof buffer));
        EXPECT_EQ(buffer, text);
    }
}

TEST(ModuleMacTest, AFailureEndsTheCalls) {
    const struct {
        int line;
        const char* failing;
        Calls calls;
        unsigned long left;  // URLs.
    } rows[] = {
        {__LINE__, kBundle, {kBundle}, 0},
        {__LINE__, kUrl, {kBundle, kUrl}, 0},
        // The URL is not released where it gives no path.
        {__LINE__, kPath, {kBundle, kUrl, kPathOf1024}, 1},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE("row at line " + std::to_string(row.line));
        BundleCalls calls;
        calls.Fail(row.failing);
        const unsigned long before = BundleUrlsAlive();
        char buffer[1024];
        std::memset(buffer, 'j', sizeof buffer);
        EXPECT_FALSE(GetProcessDir(buffer, sizeof buffer));
        EXPECT_EQ(row.calls, calls.Take());
        EXPECT_EQ(before + row.left, BundleUrlsAlive());
        EXPECT_EQ(std::string(sizeof buffer, 'j'),
                  std::string(buffer, sizeof buffer));

        std::string text = "junk";
        GetModulePath(text);
        EXPECT_EQ("", text);
    }
}

TEST(ModuleMacTest, NoBufferAndNoRoomAreRefusedWithoutAsking) {
    BundleCalls calls;
    char junk = 'j';
    EXPECT_FALSE(GetProcessDir(nullptr, 64));
    EXPECT_FALSE(GetProcessDir(&junk, 0));
    EXPECT_EQ(Calls{}, calls.Take());
}

// CFIndex is signed.
TEST(ModuleMacTest, RoomIsPassedOnAsFarAsItCanBeSaid) {
    const std::string most =
        std::string(kPath) + " 1 " + std::to_string(LONG_MAX);
    char buffer[PATH_MAX];
    for (const unsigned long size :
         {static_cast<unsigned long>(LONG_MAX), ULONG_MAX}) {
        BundleCalls calls;
        EXPECT_TRUE(GetProcessDir(buffer, size));
        EXPECT_EQ((Calls{kBundle, kUrl, most, kRelease}), calls.Take());
    }
}

}  // namespace
