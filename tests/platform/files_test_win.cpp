#include <gtest/gtest.h>
#include <windows.h>

#include <array>
#include <string>

#include "platform/file.h"
#include "platform/text.h"
#include "tests/support/temp_directory.h"

namespace {

namespace fs = boost::filesystem;
using platform::FileSystem;

std::span<const platform::Byte> bytes(std::string_view text) {
    return platform::bytes_of(text);
}

/// Keeps a file open, as another process would, with the given sharing mode.
class FileOpenElsewhere {
  public:
    FileOpenElsewhere(const std::string& path, DWORD shares)
        : handle_(::CreateFileW(platform::path_of(path).c_str(), GENERIC_READ, shares, nullptr, OPEN_EXISTING,
                                0, nullptr)) {
        EXPECT_NE(handle_, INVALID_HANDLE_VALUE);
    }
    FileOpenElsewhere(const FileOpenElsewhere&) = delete;
    FileOpenElsewhere& operator=(const FileOpenElsewhere&) = delete;
    ~FileOpenElsewhere() { ::CloseHandle(handle_); }

  private:
    HANDLE handle_;
};

class FilesTest : public testing::Test {
  protected:
    FileSystem& files = platform::system_files();
    TempDirectory directory;
};

}  // namespace

TEST_F(FilesTest, BytesPassThroughUnchangedAndAtAnyPosition) {
    const std::string line_ends =
        "a\nb\r\nc\x1A"
        "d";  // text mode would convert or end here
    {
        const auto data = files.create_data(directory / "data");
        ASSERT_NE(data, nullptr);
        EXPECT_EQ(data->append({bytes(line_ends), {}, bytes("tail")}), 12);
        EXPECT_EQ(data->position(), 12);
        const auto index = files.create_index(directory / "index");
        EXPECT_EQ(index->write_at(4, bytes("\n\n")), 2U);
        EXPECT_EQ(index->write_at(0, bytes("head")), 4U);
    }
    EXPECT_EQ(files.read_whole(directory / "data"), line_ends + "tail");
    EXPECT_EQ(files.read_whole(directory / "index"), "head\n\n");
    const auto input = files.open_input(directory / "data");
    ASSERT_NE(input, nullptr);
    std::string part(4, '\0');
    EXPECT_EQ(input->read_at(3, platform::bytes_of(part)), 4U);
    EXPECT_EQ(part, "\r\nc\x1A");
    EXPECT_EQ(input->read_at(11, platform::bytes_of(part)), 1U);
}

TEST_F(FilesTest, OnlyRegularFilesAreOpenedAndRemoved) {
    fs::create_directory(directory / "folder");
    EXPECT_EQ(files.open_input(directory / "folder"), nullptr);
    EXPECT_EQ(files.open_input("NUL"), nullptr);
    EXPECT_EQ(files.create_data(directory / "no folder/data"), nullptr);
    EXPECT_FALSE(files.remove_file(directory / "folder"));
    EXPECT_EQ(files.make_directory(directory / "a/b/c", FileSystem::Existing::kDirectory),
              boost::system::error_code());
    EXPECT_TRUE(fs::is_directory(directory / "a/b/c"));
}

TEST_F(FilesTest, LogFileKeepsItsContentAndAppends) {
    const std::string path = directory / "log";
    for (const char* text : {"one\n", "two\n"}) {
        const auto log = files.open_log(path);
        ASSERT_NE(log, nullptr);
        EXPECT_TRUE(log->append(text));
    }
    EXPECT_EQ(read_file(path), "one\ntwo\n");
    EXPECT_EQ(files.open_log("NUL"), nullptr);
    EXPECT_EQ(files.open_log(directory / "no folder/log"), nullptr);
}

TEST_F(FilesTest, FilesAreReadableDuringWritingAndNotRemovedWhileOpenElsewhere) {
    const std::string path = directory / "clip";
    const auto data = files.create_data(path);
    ASSERT_EQ(data->append({bytes("frames"), {}, {}}), 6);
    EXPECT_EQ(files.read_whole(path), "frames");  // while the module writes it
    {
        const FileOpenElsewhere player(path, FILE_SHARE_READ | FILE_SHARE_WRITE);
        EXPECT_EQ(data->append({bytes("!"), {}, {}}), 1);
        EXPECT_FALSE(files.remove_file(path));
    }
    EXPECT_EQ(files.read_whole(path), "frames!");
}

TEST_F(FilesTest, ReplacingWritesTheNewContentOrKeepsTheOldOne) {
    const std::string path = directory / "state.xml";
    EXPECT_TRUE(files.replace_whole(path, "first\n"));
    write_file(path + ".new", "left by an interrupted save");
    EXPECT_TRUE(files.replace_whole(path, "second\n"));
    EXPECT_EQ(files.read_whole(path), "second\n");
    {
        const FileOpenElsewhere backup(path, FILE_SHARE_READ | FILE_SHARE_WRITE);
        EXPECT_TRUE(files.replace_whole(path, "3\n"));
    }
    EXPECT_EQ(files.read_whole(path), "3\n");
    {
        const FileOpenElsewhere exclusive(path, FILE_SHARE_READ);
        EXPECT_FALSE(files.replace_whole(path, "fourth\n"));
    }
    EXPECT_EQ(files.read_whole(path), "3\n");
    EXPECT_FALSE(fs::exists(path + ".new"));
    EXPECT_FALSE(files.replace_whole(directory.path(), "a directory"));
}

TEST(TextTest, NarrowTextIsInTheSystemsCodePage) {
    if (::GetACP() != 1252) GTEST_SKIP() << "another code page";
    const platform::Path path = platform::path_of("C:\\k\xE4se");
    EXPECT_EQ(path.native(), L"C:\\k\u00E4se");
    EXPECT_EQ(platform::narrow_text(path), "C:\\k\xE4se");
}
