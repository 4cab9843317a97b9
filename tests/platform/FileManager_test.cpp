#include "platform/files/FileManager.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cerrno>
#include <string>

#include "platform/files/Data.h"
#include "tests/TemporaryFolder.h"

namespace qvx::platform {

using test::TemporaryFolder;

TEST(FileManager, ACopyThatCannotBe) {
    const TemporaryFolder folder;
    const std::string file = folder.file("file", "x");
    std::filesystem::create_directory(folder.path("folder"));
    std::filesystem::create_symlink("nowhere", folder.path("link"));
    ASSERT_EQ(::mkfifo(folder.path("fifo").c_str(), 0600), 0);
    const struct {
        const char *source, *destination;
        int code;
    } rows[] = {{"file", "folder", EEXIST}, {"file", "file", EEXIST},   {"folder", "folder", EEXIST},
                {"file", "link", EEXIST},   {"folder", "link", EEXIST}, {"missing", "new", ENOENT},
                {"file", "no/new", ENOENT}, {"fifo", "new", ENOTSUP},   {"link", "new", ENOENT}};
    for (const auto& row : rows) {
        const auto error = FileManager::copyItemAtPath(folder.path(row.source), folder.path(row.destination));
        ASSERT_TRUE(error) << row.source;
        EXPECT_EQ(error->domain, "NSPOSIXErrorDomain");
        EXPECT_EQ(error->code, row.code) << error->text;
    }
    EXPECT_EQ(test::contentsOf(file), "x");
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
