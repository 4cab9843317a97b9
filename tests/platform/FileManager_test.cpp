#include "platform/files/FileManager.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cerrno>
#include <string>

#include "platform/files/Data.h"
#include "tests/platform/TemporaryFolder.h"

namespace qvx::platform {

namespace fs = std::filesystem;
using test::contentsOf;
using test::TemporaryFolder;

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
    for (const auto& [path, code] : {std::pair(folder.path("fifo"), EINVAL),
                                     {folder.path(), EISDIR},
                                     {"/dev/null", EINVAL},
                                     {"/no", ENOENT}}) {
        EXPECT_EQ(Data::withContentsOfFile(path).error().code, code) << path;
        EXPECT_EQ(Data::readFile(path, 10).error().code, code) << path;
    }
    EXPECT_TRUE(Data::withContentsOfFile(folder.file("empty", ""))->empty());
    const std::string ten = folder.file("ten", "0123456789");
    EXPECT_EQ(Data::readFile(ten, 10)->string(), "0123456789");
    EXPECT_EQ(Data::readFile(ten, 9).error().code, EFBIG);
}

} // namespace qvx::platform
