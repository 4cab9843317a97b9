#include "platform/FileManager.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <string>

#include "platform/Data.h"
#include "platform/ProcessInfo.h"
#include "platform/String.h"
#include "tests/platform/TemporaryFolder.h"

namespace qvx::platform {

namespace fs = std::filesystem;
using test::contentsOf;
using test::TemporaryFolder;

namespace {

struct stat statusOf(const std::string& path) {
    struct stat status {};
    EXPECT_EQ(::lstat(path.c_str(), &status), 0) << path;
    return status;
}

void setTime(const std::string& path, time_t seconds) {
    const timespec times[] = {{seconds, 0}, {seconds, 5000}};
    ASSERT_EQ(::utimensat(AT_FDCWD, path.c_str(), times, AT_SYMLINK_NOFOLLOW), 0);
}

} // namespace

TEST(FileManager, CopiesATreeAsItStands) {
    const TemporaryFolder folder;
    const std::string source = folder.path("A.dSYM"), copy = folder.path("copy");
    const std::string big(3'000'000, 'b');
    static_cast<void>(folder.file("A.dSYM/Contents/é big", big));
    static_cast<void>(folder.file("A.dSYM/Contents/script", "#!"));
    static_cast<void>(folder.file("A.dSYM/locked/file", ""));
    fs::create_directories(source + "/empty");
    fs::create_symlink("../nowhere", source + "/dangling");
    fs::create_directory_symlink("Contents", source + "/link");
    ASSERT_EQ(::chmod((source + "/Contents/script").c_str(), 0751), 0);
    ASSERT_EQ(::chmod((source + "/locked").c_str(), 0555), 0);
    ASSERT_EQ(::chmod((source + "/empty").c_str(), 0777), 0);
    time_t time = 1'000'000'000;
    for (const char* name : {"/Contents/é big", "/dangling", "/locked", "/Contents", ""})
        setTime(source + name, ++time);

    const auto error = FileManager::copyItemAtPath(source, copy);
    ASSERT_FALSE(error) << error->description();
    size_t entries = 0;
    for (const auto& entry : fs::recursive_directory_iterator(source)) {
        const std::string name = entry.path().native().substr(source.size());
        SCOPED_TRACE(name);
        const struct stat before = statusOf(source + name), after = statusOf(copy + name);
        EXPECT_EQ(before.st_mode, after.st_mode);
        EXPECT_EQ(before.st_mtim.tv_sec, after.st_mtim.tv_sec);
        EXPECT_EQ(before.st_mtim.tv_nsec, after.st_mtim.tv_nsec);
        EXPECT_NE(before.st_ino, after.st_ino);
        if (entry.is_symlink()) {
            EXPECT_EQ(fs::read_symlink(source + name), fs::read_symlink(copy + name));
        } else if (entry.is_regular_file()) {
            EXPECT_EQ(contentsOf(source + name), contentsOf(copy + name));
        }
        entries += 1;
    }
    EXPECT_EQ(entries, 8U);
    EXPECT_EQ(std::distance(fs::recursive_directory_iterator(copy), {}), 8);
    EXPECT_EQ(statusOf(copy).st_mtim.tv_sec, time);
    for (const std::string& root : {source, copy})
        ::chmod((root + "/locked").c_str(), 0755);
}

TEST(FileManager, ACopyThatCannotBe) {
    const TemporaryFolder folder;
    const std::string file = folder.file("file", "x");
    fs::create_directory(folder.path("folder"));
    fs::create_symlink("nowhere", folder.path("link"));
    ASSERT_EQ(::mkfifo(folder.path("fifo").c_str(), 0600), 0);
    const struct {
        const char *source, *destination;
        int code;
    } rows[] = {{"file", "folder", EEXIST}, {"file", "file", EEXIST}, {"folder", "folder", EEXIST},
                {"file", "link", EEXIST},   {"link", "file", EEXIST}, {"missing", "new", ENOENT},
                {"file", "no/new", ENOENT}, {"fifo", "new", ENOTSUP}};
    for (const auto& row : rows) {
        const auto error = FileManager::copyItemAtPath(folder.path(row.source), folder.path(row.destination));
        ASSERT_TRUE(error) << row.source;
        EXPECT_EQ(error->domain, "NSPOSIXErrorDomain");
        EXPECT_EQ(error->code, row.code) << error->text;
    }
    EXPECT_EQ(contentsOf(file), "x");
}

TEST(FileManagerDeathTest, AnUnreadableFileIsAnError) {
    const TemporaryFolder folder;
    ASSERT_EQ(::chmod(folder.path().c_str(), 0755), 0);
    ASSERT_EQ(::chmod(folder.file("tree/secret", "x").c_str(), 0), 0);
    fs::create_directory(folder.path("out"));
    ASSERT_EQ(::chmod(folder.path("out").c_str(), 0777), 0);
    const auto copy = [&] {
        if (::geteuid() == 0 && ::setuid(65534) != 0) // nothing is unreadable to root
            ::_exit(1);
        const auto error = FileManager::copyItemAtPath(folder.path("tree"), folder.path("out/tree"));
        const auto made = FileManager::createDirectoryWithIntermediates(folder.path("tree/secret/x"));
        ::_exit(error && error->code == EACCES && made ? 7 : 0);
    };
    EXPECT_EXIT(copy(), testing::ExitedWithCode(7), "");
}

TEST(FileManager, ListsInByteOrder) {
    const TemporaryFolder folder;
    for (const char* name : {"b", "a/z", "é", ".hidden", "B", "a.c"})
        static_cast<void>(folder.file(name, ""));
    const auto names = FileManager::contentsOfDirectoryAtPath(folder.path());
    ASSERT_TRUE(names);
    EXPECT_EQ(*names, (std::vector<std::string>{".hidden", "B", "a", "a.c", "b", "é"}));
    EXPECT_EQ(FileManager::firstEntryBelowDirectory(folder.path()), ".hidden");
    EXPECT_EQ(FileManager::contentsOfDirectoryAtPath(folder.path("b")).error().code, ENOTDIR);
    EXPECT_EQ(FileManager::contentsOfDirectoryAtPath(folder.path("c")).error().code, ENOENT);
}

TEST(FileManager, MakesFoldersWithThoseAbove) {
    const TemporaryFolder folder;
    for (const char* name : {"a/b/c", "a/b/d/", "a"}) {
        EXPECT_FALSE(FileManager::createDirectoryWithIntermediates(folder.path(name)));
        EXPECT_TRUE(FileManager::isDirectoryAtPath(folder.path(name)));
    }
    static_cast<void>(folder.file("file", ""));
    fs::create_symlink("nowhere", folder.path("link"));
    EXPECT_EQ(FileManager::createDirectoryWithIntermediates(folder.path("file/x"))->code, EEXIST);
    // The reason is that of the attempt, not that of looking what stands there.
    EXPECT_EQ(FileManager::createDirectoryWithIntermediates(folder.path("link/x"))->code, EEXIST);
}

TEST(FileManager, CachesDirectory) {
    const std::string before = Environment::ofProcess().value("XDG_CACHE_HOME").value_or("");
    ::setenv("XDG_CACHE_HOME", "/somewhere", 1);
    EXPECT_EQ(FileManager::cachesDirectory(), "/somewhere");
    for (const char* ignored : {"", "relative"}) {
        ::setenv("XDG_CACHE_HOME", ignored, 1);
        EXPECT_EQ(FileManager::cachesDirectory(), stringByAppendingPathComponent(homeDirectory(), ".cache"));
    }
    ::setenv("XDG_CACHE_HOME", before.c_str(), 1);
}

TEST(Data, SharesItsSegments) {
    const TemporaryFolder folder;
    Data whole = Data::withBytes("head ");
    const auto file = Data::withContentsOfFile(folder.file("file", std::string(10'000, 'x')));
    ASSERT_TRUE(file);
    whole.append(*file);
    whole.append(Data());
    whole.append(whole);
    fs::remove(folder.path("file"));
    ASSERT_EQ(whole.segments().size(), 4U);
    EXPECT_EQ(whole.segments()[3].bytes.data(), file->segments()[0].bytes.data());
    EXPECT_EQ(whole.size(), 20'010U);
    Data::releasePages(whole.segments()[1], 9'000);
    const std::string once = "head " + std::string(10'000, 'x');
    EXPECT_EQ(whole.string(), once + once);
}

TEST(Data, ReadsRegularFilesOnly) {
    const TemporaryFolder folder;
    ASSERT_EQ(::mkfifo(folder.path("fifo").c_str(), 0600), 0);
    const struct {
        std::string path;
        int code;
    } rows[] = {
        {folder.path("fifo"), EINVAL}, {folder.path(), EISDIR}, {"/dev/null", EINVAL}, {"/no", ENOENT}};
    for (const auto& row : rows) {
        EXPECT_EQ(Data::withContentsOfFile(row.path).error().code, row.code) << row.path;
        EXPECT_EQ(Data::readFile(row.path, 10).error().code, row.code) << row.path;
    }
    EXPECT_TRUE(Data::withContentsOfFile(folder.file("empty", ""))->empty());
    const std::string ten = folder.file("ten", "0123456789");
    EXPECT_EQ(Data::readFile(ten, 10)->string(), "0123456789");
    EXPECT_EQ(Data::readFile(ten, 9).error().code, EFBIG);
}

} // namespace qvx::platform
