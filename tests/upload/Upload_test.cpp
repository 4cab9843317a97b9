#include <gtest/gtest.h>

#include <string>

#include "platform/FileManager.h"
#include "tests/platform/TemporaryFolder.h"
#include "upload/DSYMCache.h"
#include "upload/Service.h"

namespace qvx {

using test::TemporaryFolder;

namespace {

platform::Environment platformNamed(const std::string& name) {
    return platform::Environment({{"PLATFORM_NAME", name}});
}

/// A caches directory of the test's own.
class DSYMCache : public testing::Test {
protected:
    DSYMCache() { ::setenv("XDG_CACHE_HOME", folder_.path("caches").c_str(), 1); }
    ~DSYMCache() override { ::unsetenv("XDG_CACHE_HOME"); }

    TemporaryFolder folder_;
};

using DSYMCacheDeathTest = DSYMCache;

} // namespace

TEST(Service, PlatformWords) {
    const struct {
        const char *name, *word;
    } rows[] = {{"MacOSX", "mac"},        {"iphoneos", "ios"},    {"iPhoneSimulator", "ios"},
                {"appletvos", "unknown"}, {"macosx ", "unknown"}, {"iphone", "unknown"},
                {"\xFF", "unknown"}};
    for (const auto& row : rows)
        EXPECT_EQ(getAppPlatform(platformNamed(row.name)), row.word) << row.name;
}

TEST_F(DSYMCache, OneFolderForEachEndpoint) {
    const std::string first = cacheDirectory("https://api.example");
    EXPECT_EQ(first, folder_.path("caches/com.quorvex.mac/da7e6946c55c2741ec2debce4f1621e5/builds"));
    EXPECT_EQ(cacheDirectory("https://api.example/"),
              folder_.path("caches/com.quorvex.mac/156c69f4e90e9b0a8098f94b5c3bb610/builds"));
    EXPECT_TRUE(platform::FileManager::isDirectoryAtPath(first));
    EXPECT_EQ(cacheDirectory("https://api.example"), first);
}

TEST_F(DSYMCache, AFolderThatCannotBeMadeIsLogged) {
    static_cast<void>(folder_.file("caches", ""));
    testing::internal::CaptureStderr();
    EXPECT_TRUE(cacheDirectory("").ends_with("/com.quorvex.mac/d41d8cd98f00b204e9800998ecf8427e/builds"));
    const std::string log = testing::internal::GetCapturedStderr();
    const size_t first = log.find("] ERROR: unable to write directory for object store.\n");
    const size_t second = log.find("] Error Domain=NSPOSIXErrorDomain Code=");
    EXPECT_LT(first, second);
    EXPECT_NE(second, std::string::npos);
}

TEST_F(DSYMCacheDeathTest, CopiesTheBundlesOfOneLevelAndNoneTwice) {
    for (const char* name :
         {"P/b.dSYM/x", "P/a.appex.dSYM/y", "P/x.DSYM/z", "P/App.app/A.dSYM/n", "P/dSYM/n"})
        static_cast<void>(folder_.file(name, name));
    static_cast<void>(folder_.file("P/file.dSYM", "plain"));
    const std::string products = folder_.path("P"), build = folder_.path("B");
    std::filesystem::create_directory(build);
    const std::vector<std::string> copies{build + "/a.appex.dSYM", build + "/b.dSYM", build + "/file.dSYM"};
    EXPECT_EQ(cacheDSYMsAtPath(products, build + "/"), copies);
    EXPECT_EQ(*platform::FileManager::contentsOfDirectoryAtPath(build),
              (std::vector<std::string>{"a.appex.dSYM", "b.dSYM", "file.dSYM"}));
    EXPECT_EQ(test::contentsOf(build + "/a.appex.dSYM/y"), "P/a.appex.dSYM/y");

    EXPECT_EXIT(cacheDSYMsAtPath(products, build), testing::ExitedWithCode(1),
                "Unable to copy dSYM at path " + products + " to path " + copies[0] +
                    " Error Domain=NSPOSIXErrorDomain Code=17 ");
    EXPECT_EXIT(cacheDSYMsAtPath(products + "/no", build), testing::ExitedWithCode(1),
                "Unable to get contents of path " + products +
                    "/no \nError Domain=NSPOSIXErrorDomain Code=2 ");
    EXPECT_TRUE(cacheDSYMsAtPath(products + "/App.app/A.dSYM", build).empty());
}

} // namespace qvx
