#include "fuzz/host_messages.h"

#include <boost/uuid/uuid_io.hpp>

namespace {

using Guids = std::vector<norvane::Guid>;

/// Placeholders: "@n" a small number, "@t" an instant, "@g" a GUID, "@p" a path, "@a" any number, "@c" a
/// channel state, "@" and a digit that digit. Occasionally a placeholder gets an unusual value instead.
constexpr const char* kDevices[] = {
    "<Device Number=@n NorVaneSupported=@1/>",
    "<Device Number=@n><Codec><Encoder Number=@0><Channel Number=@0 Connected=@c "
    "Time=@t/></Encoder></Codec></Device>",
    "<Device Number=@n><Codec><Encoder Number=@0><Channel Number=@n Connected=@c "
    "Time=@t/></Encoder></Codec></Device>",
    "<Device Number=@n><Storage GUID=@g><Input><Context Number=@0 Recordings=@2 TotalSize=@a OldestStart=@5 "
    "NewestEnd=@6/><Context Number=@1/></Input></Storage></Device>",
    "<Device Number=@n><Storage GUID=@g RetrievalStatus=@3/></Device>",
    "<Device Number=@n><Storage GUID=@g RetrievalStatus=@4 ErrorCode=@a FailedClipStartTime=@t/></Device>",
    "<Device Number=@n><Input><Context><Storage GUID=@g RetrievalStatus=@3 FileName=@p Start=@t Stop=@t "
    "Type=@1 "
    "InputNumber=@1 InputName=@p/></Context></Input></Device>",
    "<Device Number=@n ipAddress=\"\"/>",
};
constexpr const char* kReservation = "<Storage><Reservation GUID=@g TmpDir=@p OutDir=@p/></Storage>";

std::string any_value(ByteSource& in) {
    constexpr const char* kValues[] = {"",        "-1",   "2147483647", "-2147483648", "4294967295", "1024",
                                       "5x",      "0x1F", "0",          "1",           " 7 ",        "1.5",
                                       "no guid", "true", "3",          "{}"};
    return in.pick(kValues);
}

std::string usual_value(char kind, ByteSource& in, const Guids& guids) {
    constexpr const char* kPaths[] = {"tmp/a.mp4", "&quot;tmp/b c.mp4&quot;", "out/", "&quot;a&amp;&quot;b"};
    switch (kind) {
        case 'n':
            return std::to_string(1 + in.below(3));
        case 't':
            return std::to_string(1'000'000 + 5 * in.byte());
        case 'g':
            return guids.empty() ? ""
                                 : boost::uuids::to_string(guids[guids.size() - 1 - in.below(guids.size())]);
        case 'p':
            return in.pick(kPaths);
        case 'a':
            return std::to_string(in.number(2));
        case 'c':
            return in.chance(128) ? "1" : "0";
        default:
            return {kind};
    }
}

std::string fill(std::string_view pattern, ByteSource& in, const Guids& guids) {
    std::string text;
    for (std::size_t at = pattern.find('@'); at != pattern.npos; at = pattern.find('@')) {
        text += pattern.substr(0, at);
        text += '"' + (in.byte() < 8 ? any_value(in) : usual_value(pattern[at + 1], in, guids)) + '"';
        pattern.remove_prefix(at + 2);
    }
    return text.append(pattern);
}

}  // namespace

std::string host_message(ByteSource& in, const Guids& guids) {
    const std::uint8_t kind = in.byte();
    if (kind >= 240) return in.text();
    if (kind % 4 == 0) return "<Pavo>" + fill(kReservation, in, guids) + "</Pavo>";
    std::string text = "<Pavo><Devices ID=\"7\">";
    do {
        text += fill(in.pick(kDevices), in, guids);
    } while (in.chance(32));
    return text + "</Devices>" + (kind < 8 ? fill(kReservation, in, guids) : "") + "</Pavo>";
}
