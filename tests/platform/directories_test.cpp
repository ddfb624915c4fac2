#include <gtest/gtest.h>
#include <sys/stat.h>

#include "platform/file.h"
#include "tests/support/ordinary_user.h"
#include "tests/support/temp_directory.h"

namespace {

namespace errc = boost::system::errc;

class DirectoriesTest : public testing::Test {
  protected:
    static constexpr auto kAnything = platform::FileSystem::Existing::kAnything;
    static constexpr auto kDirectory = platform::FileSystem::Existing::kDirectory;

    boost::system::error_code make(const std::string& name, platform::FileSystem::Existing enough) const {
        return platform::system_files().make_directory(directory / name, enough);
    }

    TempDirectory directory;
};

}  // namespace

TEST_F(DirectoriesTest, MissingParentsAreMadeAndWhatStandsThereIsKept) {
    EXPECT_FALSE(make("2018/06/22", kDirectory));
    write_file(directory / "2018/06/22/kept", "x");
    EXPECT_FALSE(make("2018/06/22", kAnything));
    EXPECT_FALSE(make("2018/06/22", kDirectory));
    EXPECT_EQ(read_file(directory / "2018/06/22/kept"), "x");
    boost::filesystem::create_symlink("2018", directory / "link");
    EXPECT_FALSE(make("link", kDirectory));
    EXPECT_FALSE(make("other/2019", kAnything));
    EXPECT_TRUE(boost::filesystem::is_directory(directory / "other/2019"));
}

TEST_F(DirectoriesTest, FileInTheWayIsEnoughOnlyWhereAnythingIs) {
    write_file(directory / "file", "x");
    EXPECT_FALSE(make("file", kAnything));
    EXPECT_TRUE(make("file", kDirectory));
    EXPECT_TRUE(make("file/below", kAnything));
    EXPECT_EQ(read_file(directory / "file"), "x");
}

TEST_F(DirectoriesTest, ErrorIsTheSystemsOwn) {
    EXPECT_EQ(make(std::string(300, 'n'), kAnything), errc::filename_too_long);
    boost::filesystem::create_symlink("loop", directory / "loop");
    EXPECT_EQ(make("loop/x", kAnything), errc::too_many_symbolic_link_levels);
    const auto denied = [&] { return make("closed/x", kDirectory) == errc::permission_denied; };
    boost::filesystem::create_directory(directory / "closed");
    for (const ::mode_t mode : {0U, 0555U}) {  // not to be examined, not to be made
        ::chmod((directory / "closed").c_str(), mode);
        EXPECT_TRUE(holds_for_ordinary_user(denied)) << mode;
    }
    ::chmod((directory / "closed").c_str(), 0755);
}
