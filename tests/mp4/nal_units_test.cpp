#include "mp4/nal_units.h"

#include <gtest/gtest.h>

#include "tests/support/clips.h"
#include "tests/support/memory_files.h"

namespace {

/// Converts the sample at the start of the file. `largest` is the size of the track's largest sample. Returns
/// "bad" if the sample is rejected.
std::string convert(const std::string& bytes, std::size_t size, std::size_t largest) {
    MemoryInput file(bytes);
    BoxReader in(&file);
    const auto narrow = [](std::size_t value) { return static_cast<std::uint32_t>(value); };
    const auto frame = insert_nal_tags(narrow(size), narrow(largest), largest, in);
    return frame ? std::string(frame->begin(), frame->end()) : "bad";
}

}  // namespace

TEST(NalUnitsTest, LengthsAreReplacedWithStartCodes) {
    const std::string two = nal(unit_of(20)) + nal(unit_of(100));
    EXPECT_EQ(convert(two + "next sample", 128, 128), in_frame(unit_of(20)) + in_frame(unit_of(100)));
    EXPECT_EQ(convert(nal("one") + "rest", 7, 500), in_frame("one"));
    EXPECT_EQ(convert(nal("") + nal("x"), 9, 9), in_frame("") + in_frame("x"));
    EXPECT_EQ(convert(nal("x") + nal(""), 9, 9), in_frame("x") + in_frame(""));
    EXPECT_EQ(convert("anything", 0, 10), "");
    EXPECT_EQ(convert("", 0, 0), "");
}

TEST(NalUnitsTest, UnitsMayExceedTheirSampleButNotTheLargestOne) {
    // The sample size is smaller than its units; another sample of the track is larger.
    const std::string units = nal("four") + nal("eight by");
    for (const std::size_t size : {9UL, 10UL, 19UL}) {
        EXPECT_EQ(convert(units, size, 20), in_frame("four") + in_frame("eight by")) << size;
        EXPECT_EQ(convert(units, size, 19), "bad") << size;
    }
}

TEST(NalUnitsTest, LengthsAboveTheLargestSampleAreBad) {
    for (const std::uint32_t length : {0x7FFFFFFFU, 0xFFFFFFFFU, 0xFFFFFFFCU, 17U, 16U, 13U}) {
        EXPECT_EQ(convert(be32(length) + std::string(100, 'x'), 16, 16), "bad") << length;
    }
    EXPECT_EQ(convert(be32(12) + std::string(100, 'x'), 16, 16), in_frame(std::string(12, 'x')));
    EXPECT_EQ(convert(nal("x") + nal(""), 6, 8), "bad");  // no room for a second start code
}

TEST(NalUnitsTest, SampleThatEndsAfterTheClipIsBad) {
    const std::string sample = nal("abc") + nal("defg");
    EXPECT_NE(convert(sample, sample.size(), 15), "bad");
    for (std::size_t length = 0; length < sample.size(); ++length) {
        EXPECT_EQ(convert(sample.substr(0, length), sample.size(), 15), "bad") << length;
    }
}
