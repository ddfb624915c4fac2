#include <gtest/gtest.h>

#include <fstream>
#include <string>

#include "tests/support/temp_directory.h"
#include "tools/cli/base64.h"
#include "tools/cli/exit_status.h"
#include "tools/host_kit/lent_buffers.h"
#include "tools/recorder/host/transcript_line.h"
#include "tools/recorder/model/camera.h"
#include "tools/recorder/model/clip.h"
#include "tools/recorder/model/pattern.h"

namespace {

using namespace recorder;

TEST(PatternTest, AGuidIsBoundOnceAndMustBeRandomLowerCaseAndUnique) {
    constexpr const char* kGuid = "3f2b8c1e-5d4a-4e0b-9a7c-21d0c6e4f8a5";
    constexpr const char* kOther = "0f2b8c1e-5d4a-4e0b-9a7c-21d0c6e4f8a5";
    Bindings bindings(0);
    const std::string pattern = "id " + guid_of_operation(1) + ".";
    const auto fits = [&](const std::string& text) { return matches(pattern, text, bindings); };
    for (const char* wrong : {"3F2B8C1E-5D4A-4E0B-9A7C-21D0C6E4F8A5", "3f2b8c1e-5d4a-1e0b-9a7c-21d0c6e4f8a5",
                              "3f2b8c1e-5d4a-4e0b-ca7c-21d0c6e4f8a5", "3f2b8c1e"}) {
        EXPECT_FALSE(fits("id " + std::string(wrong) + ".")) << wrong;
    }
    EXPECT_FALSE(fits("id " + std::string(kGuid) + "!"));
    EXPECT_TRUE(fits("id " + std::string(kGuid) + "."));
    EXPECT_FALSE(fits("id " + std::string(kOther) + "."));
    EXPECT_FALSE(matches(guid_of_operation(2), kGuid, bindings));
    EXPECT_EQ(described(pattern + guid_of_operation(9), bindings),
              "id " + std::string(kGuid) + ".(GUID of operation 9)");
}

TEST(PatternTest, APresentTimeIsNotBeforeTheStart) {
    constexpr std::int64_t kBegin = 1'700'000'000;
    Bindings bindings(kBegin);
    const std::string pattern =
        "Time=\"" + std::string(kPresentInstant) + "\"" + std::string(kAnyText) + "end";
    EXPECT_TRUE(matches(pattern, "Time=\"1700000000\" and so on to the end", bindings));
    EXPECT_EQ(bindings.instants(), std::vector<std::int64_t>{kBegin});
    EXPECT_FALSE(matches(pattern, "Time=\"1699999999\"end", bindings));
    EXPECT_FALSE(matches(pattern, "Time=\"4000000000\"end", bindings));
    EXPECT_FALSE(matches(pattern, "Time=\"now\"end", bindings));
    EXPECT_FALSE(matches(pattern, "Time=\"1700000001\"", bindings));
}

TEST(LentBuffersTest, ATextIsReturnedOnceAndOverwritten) {
    using host_kit::LentBuffers;
    LentBuffers buffers(5, 1);
    const host_kit::LentBuffer lent = buffers.lend("<Pavo/>");
    EXPECT_EQ(lent.number, 6U);
    EXPECT_EQ(std::string(lent.text, lent.length), "<Pavo/>");
    EXPECT_EQ(buffers.take_back(lent.text + 1).outcome, LentBuffers::Outcome::kNeverLent);
    EXPECT_EQ(buffers.numbers(), std::vector<std::uint64_t>{6});
    EXPECT_EQ(buffers.take_back(lent.text).text, "<Pavo/>");
    EXPECT_EQ(buffers.take_back(lent.text).outcome, LentBuffers::Outcome::kReturnedBefore);
    EXPECT_EQ(buffers.count(), 0U);
    EXPECT_EQ(lent.text[0], '\xDD');
}

TEST(LentBuffersTest, AChangedTextAndBytesBesideItAreNoticed) {
    using host_kit::LentBuffers;
    for (const std::ptrdiff_t offset : {-1, 0, 6, 7}) {
        LentBuffers buffers(0, 1);
        const host_kit::LentBuffer lent = buffers.lend("<Pavo/>");
        const_cast<char*>(lent.text)[offset] = 'x';
        const auto returned = buffers.take_back(lent.text);
        EXPECT_EQ(returned.outcome, LentBuffers::Outcome::kChanged) << offset;
        EXPECT_EQ(returned.text, "<Pavo/>");
        EXPECT_EQ(buffers.changed_after_return(), 0U);
        const_cast<char*>(lent.text)[offset] = 'x';
        EXPECT_EQ(buffers.changed_after_return(), 1U) << offset;
    }
}

TEST(PatternTest, ADifferenceIsShownWithItsPlace) {
    const std::string pattern =
        "<a b=\"" + guid_of_operation(1) + "\" c=\"" + std::string(kPresentInstant) + "\"/>";
    const std::string lead = "<a b=\"3f2b8c1e-5d4a-4e0b-9a7c-21d0c6e4f8a5\" c=\"5";
    EXPECT_EQ(difference(pattern, lead + "\"/>", Bindings(0)), "");
    EXPECT_EQ(difference(pattern, lead + "\">", Bindings(0)),
              "at byte 49, after \"" + lead.substr(9) + "\"\": found >; expected />");
    EXPECT_EQ(difference("<a/>", "<a", Bindings(0)), "at byte 2, after \"<a\": found the end; expected />");
}

TEST(HostDocumentsTest, NamesAreEscaped) {
    EXPECT_EQ(quoted(R"(/a "b" & c)"), R"("/a &"b&" && c")");
    EXPECT_EQ(
        clip_document({7, 3}, "G", {"/t/x.mp4", 10, 30, R"(<A> & "B")", 3}),
        R"(<Pavo><Devices ID="7"><Device Number="3"><Input><Context><Storage GUID="G" RetrievalStatus="3" )"
        R"(FileName="&quot;/t/x.mp4&quot;" Start="10" Stop="30" InputNumber="1" )"
        R"(InputName="&lt;A&gt; &amp; &quot;B&quot;" Type="3"/></Context></Input></Device></Devices></Pavo>)");
    EXPECT_EQ(storage_info_document({7, 3}, "G", {}),
              R"(<Pavo><Devices ID="7"><Device Number="3"><Storage GUID="G"><Input><Context Number="0" )"
              R"(Recordings="0"/></Input></Storage></Device></Devices></Pavo>)");
}

TEST(ClipTest, DurationAndFramesComeFromTheMovieBoxAndOtherFilesHaveNone) {
    const TempDirectory directory;
    const std::string file = directory / "clip.mp4";
    const Clip made = write_small_clip(file, 3);
    EXPECT_EQ(made.frames, 75U);
    EXPECT_EQ(made.seconds, 3);
    EXPECT_EQ(made.bytes, read_file(file).size());

    const std::string whole = read_file(file);
    for (const std::string& broken :
         {std::string(), whole.substr(0, 40), whole.substr(0, whole.find("trak")),
          std::string("RIFF1234AVI "), std::string("\0\0\0\1moov\0\0\0\0\0\0\0\0", 16)}) {
        write_file(file, broken);
        EXPECT_EQ(inspect_clip(file).frames, 0U) << broken.size();
        EXPECT_EQ(inspect_clip(file).mp4, broken.find("ftyp") == 4) << broken.size();
    }
    EXPECT_THROW((void)inspect_clip(directory.path()), cli::CannotRun);
}

TEST(TranscriptTest, InvalidUtf8IsAlsoWrittenInBase64) {
    EXPECT_EQ(cli::base64(""), "");
    EXPECT_EQ(cli::base64("f"), "Zg==");
    EXPECT_EQ(cli::base64("fo"), "Zm8=");
    EXPECT_EQ(cli::base64("foo\xFF"), "Zm9v/w==");
    ReceivedMessage message;
    message.message_class = 64;
    message.text = "a\xE4z";
    EXPECT_EQ(
        transcript_line(message, "log"),
        "{\"time\":\"1970-01-01T00:00:00.000Z\",\"direction\":\"from module\",\"kind\":\"log\",\"class\":64,"
        "\"text\":\"a\xEF\xBF\xBDz\",\"base64\":\"YeR6\"}");
    message.text = "ok";
    EXPECT_EQ(transcript_line(message, "log").find("base64"), std::string::npos);
}

}  // namespace
