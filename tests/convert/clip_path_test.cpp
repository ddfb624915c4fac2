#include "convert/clip_path.h"

#include "tests/convert/convert_test.h"

namespace {

std::string path_at(std::int64_t seconds, const std::string& zone) {
    const TimeZone here(zone);
    return norvane::clip_path("/data/video/", seconds, 0x00A10380).full();
}

}  // namespace

TEST(ClipPathTest, ClipIdConsistsOfDeviceNumberAndInput) {
    const std::array<std::uint32_t, 3> ids[] = {// identifier, device number, clip id
                                                {0x00A10000, 3, 0x00A10380},
                                                {0x0ABC1234, 0x1FF, 0x0ABCFF80},
                                                {0xFFFFFFFF, 0xFFFFFF00, 0x0FFF0080}};
    StreamRecord request;
    for (const auto& [identifier, number, id] : ids) {
        request.identifier = identifier;
        request.deviceNumber = number;
        EXPECT_EQ(norvane::clip_id(request), id);
    }
    request.inputBase = 130;
    request.word8 = 0x15;
    request.startSeconds = 0xFFFFFFFF;
    EXPECT_EQ(norvane::time_base(request), 0xFFFFFFFF);
    EXPECT_EQ(norvane::clip_id(request), 0x5FFF0002U);
}

TEST(ClipPathTest, PathShowsLocalTime) {
    EXPECT_EQ(path_at(1'529'683'509, "UTC0"), "/data/video/2018/06/22/16/0509-00A10380e.ps");
    if (kZonesCanBeSet) {
        EXPECT_EQ(path_at(1'529'683'509, kCentralEurope), "/data/video/2018/06/22/18/0509-00A10380e.ps");
    }
    EXPECT_EQ(path_at(0xFFFFFFFF, "UTC0"), "/data/video/2106/02/07/06/2815-00A10380e.ps");
    const TimeZone utc("UTC0");
    EXPECT_EQ(norvane::clip_path("/data/video", 0, 0xFABC).full(),
              "/data/video1970/01/01/00/0000-0000FABCe.ps");
}

TEST_F(ConvertTest, TimesInTheFileAreUtcInAnyZone) {
    const std::pair<std::uint32_t, const char*> starts[] = {{1'540'686'600, "2018-10-28 00:30:00.000"},
                                                            {1'540'690'200, "2018-10-28 01:30:00.000"}};
    for (const std::string zone : {kCentralEurope, "XYZ-9:30"}) {
        const TimeZone here(zone);
        for (const auto& [start, utc] : starts) {
            request.startSeconds = start;
            ASSERT_EQ(convert(make_clip(three_frames())), norvane::kConverted);
            const std::string path = norvane::clip_path("out/", start, 0x00A10380).full();
            EXPECT_EQ(ParsedRecording(files.at(path), files.at(path + "i")).time(0), utc) << zone;
        }
    }
}
