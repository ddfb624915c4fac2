#include <gtest/gtest.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>

#include "platform/file.h"
#include "tests/support/byte_text.h"
#include "tests/support/temp_directory.h"

namespace {

namespace fs = boost::filesystem;

bool exists(const std::string& path) {
    return fs::exists(fs::symlink_status(path));
}

std::span<const platform::Byte> bytes(std::string_view text) {
    return platform::bytes_of(text);
}

class FilesTest : public testing::Test {
  protected:
    FilesTest() : mask_before_(::umask(0)) {}
    ~FilesTest() override { ::umask(mask_before_); }

    platform::FileSystem& files = platform::system_files();
    TempDirectory directory;

  private:
    ::mode_t mask_before_;
};

}  // namespace

TEST_F(FilesTest, InputFileIsReadAtAnyPosition) {
    write_file(directory / "clip", "0123456789");
    ::symlink("clip", (directory / "link").c_str());
    const auto file = files.open_input(directory / "link");
    ASSERT_NE(file, nullptr);
    EXPECT_EQ(file->size(), 10U);
    std::string part(4, '\0');
    EXPECT_EQ(file->read_at(3, platform::bytes_of(part)), 4U);
    EXPECT_EQ(part, "3456");
    EXPECT_EQ(file->read_at(8, platform::bytes_of(part)), 2U);
    EXPECT_EQ(part, "8956");
    EXPECT_EQ(file->read_at(10, platform::bytes_of(part)), 0U);
    EXPECT_EQ(file->read_at(~0ULL, platform::bytes_of(part)), 0U);
    EXPECT_EQ(files.read_whole(directory / "clip"), "0123456789");
    EXPECT_TRUE(files.remove_file(directory / "link"));
    EXPECT_TRUE(files.remove_file(directory / "clip"));  // removing the link kept the file
    EXPECT_FALSE(files.remove_file(directory / "clip"));
}

TEST_F(FilesTest, DirectoriesAreCreatedWithTheirParents) {
    const std::string path = directory / "./a./.b/../c.";
    EXPECT_FALSE(files.make_directory(path, platform::FileSystem::Existing::kDirectory));
    EXPECT_FALSE(files.make_directory(path + "/", platform::FileSystem::Existing::kDirectory));
    EXPECT_TRUE(fs::is_directory(directory / "a./c."));
}

TEST_F(FilesTest, OnlyRegularFilesAreOpenedAndRemoved) {
    ::mkfifo((directory / "fifo").c_str(), 0666);
    ::mkdir((directory / "folder").c_str(), 0777);
    ::symlink("/dev/null", (directory / "device").c_str());
    ::symlink("fifo", (directory / "link to fifo").c_str());
    ::symlink("folder", (directory / "link to folder").c_str());
    ::symlink("loop", (directory / "loop").c_str());
    ::symlink("nothing", (directory / "dangling").c_str());
    const int watch = ::inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
    ASSERT_GE(::inotify_add_watch(watch, directory.path().c_str(), IN_OPEN), 0);
    for (const char* name :
         {"fifo", "folder", "device", "link to fifo", "link to folder", "loop", "dangling"}) {
        EXPECT_EQ(files.open_input(directory / name), nullptr) << name;
        EXPECT_EQ(files.read_whole(directory / name), std::nullopt) << name;
        EXPECT_FALSE(files.remove_file(directory / name)) << name;
        EXPECT_TRUE(exists(directory / name)) << name;
    }
    EXPECT_FALSE(fs::exists(directory / "nothing"));
    std::array<char, 4'096> events{};
    EXPECT_LT(::read(watch, events.data(), events.size()), 0);  // no file was opened, not even briefly
    ::close(watch);
}

TEST_F(FilesTest, LogFileKeepsItsContentAndAppends) {
    const std::string path = directory / "log";
    for (const char* text : {"one\n", "two\n"}) {
        const auto log = files.open_log(path);
        ASSERT_NE(log, nullptr);
        EXPECT_TRUE(log->append(text));
        fs::resize_file(path, fs::file_size(path) - 1);  // appending follows the end, not a position
        EXPECT_TRUE(log->append(std::string(100'000, 'x')));
    }
    const std::string x(100'000, 'x');
    EXPECT_EQ(read_file(path), "one" + x + "two" + x);
    EXPECT_EQ(fs::status(path).permissions(), fs::perms(0666));
    ::mkfifo((directory / "fifo").c_str(), 0666);
    ::symlink("/dev/full", (directory / "full").c_str());
    for (const char* name : {"fifo", "full", ".", "no folder/log"}) {
        EXPECT_EQ(files.open_log(directory / name), nullptr) << name;
    }
}

TEST_F(FilesTest, DataFileIsTruncatedAndAppends) {
    write_file(directory / "a.ps", "something longer than what follows");
    const auto file = files.create_data(directory / "a.ps");
    EXPECT_EQ(file->position(), 0);
    EXPECT_EQ(file->append({bytes("first"), {}, bytes(", ")}), 7);
    EXPECT_EQ(file->position(), 7);
    EXPECT_EQ(file->append({bytes("se"), bytes("co"), bytes("nd")}), 6);
    EXPECT_EQ(file->append({}), 0);
    EXPECT_EQ(read_file(directory / "a.ps"), "first, second");
    (void)files.create_data(directory / "new.ps");
    EXPECT_EQ(fs::status(directory / "new.ps").permissions(), 0644);
    EXPECT_EQ(files.create_data(directory / "no folder/x"), nullptr);
    EXPECT_EQ(files.create_data("/dev/full")->append({bytes("x")}), -1);
}

TEST_F(FilesTest, IndexFileIsTruncatedAndWrittenAtAnyPosition) {
    write_file(directory / "a.psi", "something longer than what follows");
    const auto file = files.create_index(directory / "a.psi");
    EXPECT_EQ(file->write_at(0, bytes("0123456789")), 10U);
    EXPECT_EQ(file->write_at(5, bytes("xy")), 2U);
    EXPECT_EQ(file->write_at(12, bytes("!")), 1U);
    EXPECT_EQ(read_file(directory / "a.psi"), "01234xy789" + zeros(2) + "!");
    (void)files.create_index(directory / "new.psi");
    EXPECT_EQ(fs::status(directory / "new.psi").permissions(), 0666);
    EXPECT_EQ(files.create_index(directory.path()), nullptr);
    EXPECT_EQ(files.create_index("/dev/full")->write_at(0, bytes("x")), 0U);
}
