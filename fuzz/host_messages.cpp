#include "fuzz/host_messages.h"

#include <boost/uuid/uuid_io.hpp>
#include <initializer_list>

namespace {

using Guids = std::vector<norvane::Guid>;

/// Numbers that stand for something in one place or another, and texts that are none.
std::string any_number(ByteSource& in) {
    constexpr const char* kNumbers[] = {"0",          "1",           "2",          "3",    "4",  "-1",
                                        "2147483647", "-2147483648", "4294967295", "1024", "5x", "0x1F",
                                        "",           " 7 ",         "1.5",        "true"};
    const std::uint8_t choice = in.byte();
    return choice < 16 ? std::string(kNumbers[choice]) : std::to_string(choice - 16);
}

/// The usual number most of the time.
std::string number(ByteSource& in, const char* usual) {
    return in.chance(240) ? usual : any_number(in);
}

std::string small_number(ByteSource& in) {
    return in.chance(240) ? std::to_string(1 + in.below(3)) : any_number(in);
}

std::string instant(ByteSource& in) {
    return in.chance(240) ? std::to_string(1'000'000 + 5 * in.below(256)) : any_number(in);
}

std::string guid(ByteSource& in, const Guids& guids) {
    const std::uint8_t choice = in.byte();
    if (choice < 240 && !guids.empty())
        return boost::uuids::to_string(guids[guids.size() - 1 - choice % guids.size()]);
    constexpr const char* kGuids[] = {"00000000-0000-0000-0000-0000000000ff",
                                      "{00000000-0000-0000-0000-000000000000}",
                                      "0000000000000000000000000000000A", "", "no guid"};
    return kGuids[choice % 5];
}

std::string path(ByteSource& in) {
    constexpr const char* kPaths[] = {"tmp/a.mp4", "&quot;tmp/b c.mp4&quot;", "out/",
                                      "&quot;a&amp;&quot;b&quot;", ""};
    return in.pick(kPaths);
}

/// An attribute that may be missing.
std::string attribute(ByteSource& in, const char* name, const std::string& value) {
    if (!in.chance(248)) return "";
    return std::string(" ") + name + "=\"" + value + "\"";
}

/// In braces, so that every compiler takes the bytes in the same order.
std::string joined(std::initializer_list<std::string> parts) {
    std::string all;
    for (const std::string& part : parts) all += part;
    return all;
}

std::string channel(ByteSource& in) {
    return joined({"><Codec><Encoder", attribute(in, "Number", number(in, "0")), "><Channel",
                   attribute(in, "Number", number(in, "0")),
                   attribute(in, "Connected", in.chance(128) ? "1" : number(in, "0")),
                   attribute(in, "Time", instant(in)), "/></Encoder></Codec>"});
}

std::string contexts(ByteSource& in) {
    std::string all;
    do {
        all +=
            joined({"<Context", attribute(in, "Number", number(in, "0")),
                    attribute(in, "Recordings", number(in, "2")), attribute(in, "TotalSize", any_number(in)),
                    attribute(in, "OldestStart", number(in, "5")),
                    attribute(in, "NewestEnd", number(in, "6")), "/>"});
    } while (in.chance(32));
    return all;
}

std::string storage(ByteSource& in, const Guids& guids) {
    const std::string begin = "><Storage" + attribute(in, "GUID", guid(in, guids));
    if (in.chance(128)) return joined({begin, "><Input>", contexts(in), "</Input></Storage>"});
    return joined({begin, attribute(in, "RetrievalStatus", in.chance(128) ? "4" : number(in, "3")),
                   attribute(in, "ErrorCode", any_number(in)),
                   attribute(in, "FailedClipStartTime", instant(in)), "/>"});
}

std::string clip(ByteSource& in, const Guids& guids) {
    return joined({"><Input><Context><Storage", attribute(in, "GUID", guid(in, guids)),
                   attribute(in, "RetrievalStatus", number(in, "3")), attribute(in, "FileName", path(in)),
                   attribute(in, "Start", instant(in)), attribute(in, "Stop", instant(in)),
                   attribute(in, "Type", number(in, "1")), attribute(in, "InputNumber", number(in, "1")),
                   attribute(in, "InputName", "Gate"), "/></Context></Input>"});
}

/// What follows the name and number of a Device.
std::string device(ByteSource& in, const Guids& guids) {
    switch (in.below(8)) {
        case 0:
            return in.chance(64) ? " ipAddress=\"\">" : " NorVaneSupported=\"1\">";
        case 1:
            return clip(in, guids);
        case 2:
        case 3:
        case 4:
            return storage(in, guids);
        default:
            return channel(in);
    }
}

std::string devices(ByteSource& in, const Guids& guids) {
    std::string all = joined({"<Devices", attribute(in, "ID", number(in, "7")), ">"});
    do {
        all += joined({"<Device", attribute(in, "Number", small_number(in)), device(in, guids), "</Device>"});
    } while (in.chance(48));
    return all + "</Devices>";
}

std::string reservation(ByteSource& in, const Guids& guids) {
    return joined({"<Storage><Reservation", attribute(in, "GUID", guid(in, guids)),
                   attribute(in, "TmpDir", path(in)), attribute(in, "OutDir", path(in)), "/></Storage>"});
}

}  // namespace

std::string host_message(ByteSource& in, const std::vector<norvane::Guid>& guids) {
    const std::uint8_t kind = in.byte();
    if (kind >= 248) return in.text();
    std::string document = "<Pavo Delta=\"1\">";
    if (kind % 4 != 0) document += devices(in, guids);
    if (kind % 4 == 0 || kind >= 240) document += reservation(in, guids);
    return document + "</Pavo>";
}
