#include <map>
#include <set>

#include "tests/ps/ps_test.h"

namespace {

class PsFaultsTest : public PsWriterTest {
  protected:
    /// Opens a recording and writes packets to two slots. Stops at the first failure.
    std::int32_t write_a_few() {
        std::int32_t result = open();
        opened = result == kPsOk;
        EXPECT_EQ(writer.open_flag, opened);
        for (std::uint32_t i = 0; i < 5 && result == kPsOk; ++i) {
            before_last = data().size();
            const auto slot = static_cast<std::uint16_t>(i % 2 * 16);
            result =
                write({.slot = slot, .at = i * 900, .payload = std::string(i == 2 ? 70'000 : 10 + i, 'p')});
        }
        return result;
    }

    bool opened = false;
    std::size_t before_last = 0;  // length of the data file before the last packet
};

}  // namespace

TEST_F(PsFaultsTest, EveryFailingCallReturnsItsCodeAndKeepsEarlierPacketsIndexed) {
    const std::map<std::string, std::int32_t> codes = {
        {"data write", kPsWriteFailed}, {"data position", kPsSeekFailed}, {"index write", kPsWriteFailed}};
    std::set<std::string> seen;
    for (const bool partly : {false, true}) {
        for (std::uint64_t n = 1;; ++n) {
            files.output = {.fail_at = n, .partly = partly};
            const std::int32_t result = write_a_few();
            const std::string failed = files.output.failed;
            ps_close(writer);
            EXPECT_EQ(files.output.open_files, 0);
            EXPECT_EQ(result, failed.empty() ? kPsOk : codes.at(failed)) << "call " << n << ", " << failed;
            if (opened && !failed.empty()) {
                EXPECT_EQ(ParsedRecording(data(), index()).fault(true), "") << "call " << n;
            }
            // A packet that cannot be indexed is not written.
            if (opened && result != kPsOk && failed != "data write") {
                EXPECT_EQ(data().size(), before_last);
            }
            if (files.output.failed.empty())
                break;  // all calls, including those of ps_close, have failed once
            seen.insert(failed);
        }
    }
    for (const auto& [call, code] : codes) EXPECT_TRUE(seen.contains(call)) << call << " is never made";
}

TEST_F(PsFaultsTest, BrokenLinksAndAFullIndexAreRefused) {
    ASSERT_EQ(open(), kPsOk);
    ASSERT_EQ(write({}), kPsOk);
    PsiStreamRecord::LastEntry::put(writer.streams[0], 0xFFFFFFFF);
    EXPECT_EQ(write({}), kPsRefused);
    PsiHeader::Entries::put(writer.header, 0xFFFFFFFF);  // full
    EXPECT_EQ(write({.slot = 1}), kPsRefused);
    PsiHeader::Entries::put(writer.header, 0);
}

TEST_F(PsFaultsTest, StreamRecordMatchesTheLinkInTheFileEvenIfItsEntryIsMissing) {
    for (const bool partly : {false, true}) {
        ASSERT_EQ(open(), kPsOk);
        ASSERT_EQ(write({}), kPsOk);
        files.output.fail_at = files.output.calls + 1;  // the index write of the second packet
        files.output.partly = partly;
        EXPECT_EQ(write({}), kPsWriteFailed);
        EXPECT_EQ(PsiStreamRecord::LastEntry::get(writer.streams[0]), partly ? 1U : 0U);
        EXPECT_EQ(PsiStreamRecord::Packets::get(writer.streams[0]), 2U);
        ps_close(writer);
    }
}
