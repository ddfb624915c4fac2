#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>

#include "platform/file.h"
#include "platform/temporary_file.h"
#include "tests/support/ordinary_user.h"
#include "tests/support/temp_directory.h"

namespace {

bool replace(const std::string& path, const std::string& content) {
    return platform::system_files().replace_whole(path, content);
}

struct ::stat status_of(const std::string& path) {
    struct ::stat status {};
    EXPECT_EQ(::lstat(path.c_str(), &status), 0) << path;
    return status;
}

bool exists(const std::string& path) {
    return boost::filesystem::symlink_status(path).type() != boost::filesystem::file_not_found;
}

class FileReplaceTest : public testing::Test {
  protected:
    FileReplaceTest() : mask_before_(::umask(022)) { ::chmod(directory.path().c_str(), 0777); }
    ~FileReplaceTest() override { ::umask(mask_before_); }

    void put(const std::string& content, ::mode_t mode) {
        write_file(state, content);
        ::chmod(state.c_str(), mode);
    }
    unsigned mode() const { return status_of(state).st_mode & 07777U; }

    TempDirectory directory;
    const std::string state = directory / "state.xml";
    const std::string temporary = directory / "state.xml.new";

  private:
    ::mode_t mask_before_;
};

}  // namespace

TEST_F(FileReplaceTest, NewFileGetsTheDefaultModeAndAnExistingOneKeepsItsMode) {
    ::umask(027);
    EXPECT_TRUE(replace(state, "1"));
    EXPECT_EQ(mode(), 0640U);
    ::chmod(state.c_str(), 0606);
    const auto before = status_of(state).st_ino;
    EXPECT_TRUE(replace(state, "second"));
    EXPECT_EQ(read_file(state), "second");
    EXPECT_EQ(mode(), 0606U);
    EXPECT_NE(status_of(state).st_ino, before);  // a new file under the old name
    EXPECT_FALSE(exists(temporary));

    const WorkingDirectory here;
    EXPECT_TRUE(replace("state.xml", ""));
    EXPECT_EQ(read_file(here / "state.xml"), "");
    EXPECT_FALSE(exists(here / "state.xml.new"));
}

TEST_F(FileReplaceTest, TemporaryFileOfAnInterruptedSaveIsReplaced) {
    put("old", 0644);
    write_file(temporary, "half of someth");
    ::chmod(temporary.c_str(), 0600);
    EXPECT_TRUE(replace(state, "new"));
    EXPECT_EQ(read_file(state), "new");
    EXPECT_EQ(mode(), 0644U);
    EXPECT_FALSE(exists(temporary));

    // A link with the temporary file's name is not followed.
    write_file(directory / "victim", "untouched");
    ::symlink("victim", temporary.c_str());
    EXPECT_TRUE(replace(state, "newer"));
    EXPECT_EQ(read_file(state), "newer");
    EXPECT_EQ(read_file(directory / "victim"), "untouched");
}

TEST_F(FileReplaceTest, LinkIsKeptAndItsTargetIsReplaced) {
    ::mkdir((directory / "real").c_str(), 0755);
    write_file(directory / "real/file", "old");
    ::symlink("real/file", (directory / "second link").c_str());
    ::symlink("second link", state.c_str());
    const auto before = status_of(directory / "real/file").st_ino;
    EXPECT_TRUE(replace(state, "new"));
    EXPECT_TRUE(S_ISLNK(status_of(state).st_mode));
    EXPECT_EQ(read_file(directory / "real/file"), "new");
    EXPECT_NE(status_of(directory / "real/file").st_ino, before);
    EXPECT_FALSE(exists(directory / "real/state.xml.new"));
}

TEST_F(FileReplaceTest, LinkToAMissingFileCreatesItAndALoopFails) {
    ::symlink((directory / "missing").c_str(), state.c_str());
    EXPECT_TRUE(replace(state, "made"));
    EXPECT_EQ(read_file(directory / "missing"), "made");
    EXPECT_TRUE(S_ISLNK(status_of(state).st_mode));
    ::symlink("loop", (directory / "loop").c_str());
    EXPECT_FALSE(replace(directory / "loop", "x"));
    EXPECT_TRUE(S_ISLNK(status_of(directory / "loop").st_mode));
    EXPECT_FALSE(replace(directory / "no folder/state.xml", "x"));
}

TEST_F(FileReplaceTest, SaveThatCannotStartKeepsTheOldFile) {
    put("the old content", 0666);
    ::mkdir(temporary.c_str(), 0755);  // an obstacle other than missing permissions
    EXPECT_FALSE(replace(state, "new"));
    EXPECT_EQ(read_file(state), "the old content");
}

TEST_F(FileReplaceTest, TruncatedFirstSaveLeavesNoFile) {
    const auto handler = std::signal(SIGXFSZ, SIG_IGN);
    ::rlimit before{};
    ::getrlimit(RLIMIT_FSIZE, &before);
    const ::rlimit limit{3, before.rlim_max};
    ::setrlimit(RLIMIT_FSIZE, &limit);
    EXPECT_FALSE(replace(state, "too long"));
    ::setrlimit(RLIMIT_FSIZE, &before);
    std::signal(SIGXFSZ, handler);
    EXPECT_FALSE(exists(state));
}

TEST_F(FileReplaceTest, FileWithoutWritePermissionIsKept) {
    put("old", 0444);
    EXPECT_TRUE(holds_for_ordinary_user([&] { return !replace(state, "new"); }));
    EXPECT_EQ(read_file(state), "old");
    EXPECT_EQ(mode(), 0444U);
    EXPECT_FALSE(exists(temporary));
}

TEST_F(FileReplaceTest, FileInADirectoryWithoutWritePermissionIsWrittenInPlace) {
    put("the old, longer content", 0666);
    const auto before = status_of(state).st_ino;
    ::chmod(directory.path().c_str(), 0555);
    EXPECT_TRUE(holds_for_ordinary_user([&] { return replace(state, "new"); }));
    EXPECT_EQ(read_file(state), "new");
    EXPECT_EQ(status_of(state).st_ino, before);
    write_file(temporary, "left by an interrupted save; cannot be removed");
    EXPECT_TRUE(holds_for_ordinary_user([&] { return replace(state, "new again"); }));
    EXPECT_TRUE(holds_for_ordinary_user([&] { return !replace(directory / "other.xml", "new"); }));
    EXPECT_FALSE(exists(directory / "other.xml"));
    ::chmod(directory.path().c_str(), 0);  // without search permission
    EXPECT_TRUE(holds_for_ordinary_user([&] { return !replace(state, "newer"); }));
    ::chmod(directory.path().c_str(), 0777);
    EXPECT_EQ(read_file(state), "new again");
}

TEST_F(FileReplaceTest, FileOfAnotherUserInAStickyDirectoryIsWrittenInPlace) {
    put("the old, longer content", 0666);
    ::chmod(directory.path().c_str(), 01777);
    for (const char* content : {"new", "newer, and longer than the old content"}) {
        EXPECT_TRUE(holds_for_ordinary_user([&] { return replace(state, content); }));
        EXPECT_EQ(read_file(state), content);
        EXPECT_FALSE(exists(temporary));
    }
}

TEST_F(FileReplaceTest, DevicesAndPipesAreWrittenInPlace) {
    ::symlink("/dev/null", state.c_str());
    EXPECT_TRUE(replace(state, "gone"));
    EXPECT_TRUE(S_ISCHR(status_of("/dev/null").st_mode));
    EXPECT_FALSE(replace("/dev/full", "no room"));
    EXPECT_FALSE(replace(directory.path(), "a directory"));

    const std::string pipe = directory / "pipe";
    ASSERT_EQ(::mkfifo(pipe.c_str(), 0666), 0);
    EXPECT_FALSE(replace(pipe, "without a reader"));
    const int reader = ::open(pipe.c_str(), O_RDONLY | O_NONBLOCK);
    EXPECT_TRUE(replace(pipe, "for the reader"));
    std::string read(100, '\0');
    const ::ssize_t count = ::read(reader, read.data(), read.size());
    ::close(reader);
    EXPECT_EQ(read.substr(0, count > 0 ? static_cast<std::size_t>(count) : 0), "for the reader");
    EXPECT_TRUE(S_ISFIFO(status_of(pipe).st_mode));
    EXPECT_FALSE(exists(pipe + ".new"));
}

TEST(DelayedTermination, BothFilesOfAPairAreRenamedBeforeTheProcessEnds) {
    const TempDirectory directory;
    const std::string first = directory / "first";
    const std::string second = directory / "second";
    for (const std::string& file : {first, second}) write_file(file + ".part", "new");
    const auto interrupted = [&] {
        const platform::RemovedOnTermination removed_first(first + ".part");
        const platform::RemovedOnTermination removed_second(second + ".part");
        const platform::DelayedTermination delayed;
        (void)::rename((first + ".part").c_str(), first.c_str());
        (void)::raise(SIGINT);
        (void)::rename((second + ".part").c_str(), second.c_str());
    };
    EXPECT_EXIT((interrupted(), ::_exit(0)), testing::KilledBySignal(SIGINT), "");
    EXPECT_EQ(read_file(first) + read_file(second), "newnew");
}
