#pragma once

#include <boost/uuid/uuid_io.hpp>
#include <string>
#include <vector>

#include "fuzz/byte_source.h"
#include "tools/host_kit/host_documents.h"

/// Builds host messages from a few bytes each: usually a valid document about one of a few devices and a
/// known operation, so that conversations reach deep states; occasionally any text.
class HostMessages {
  public:
    /// `guids` are the known operations.
    HostMessages(ByteSource& in, const std::vector<norvane::Guid>& guids) : in_(in), guids_(guids) {}

    std::string next() {
        const std::uint8_t kind = in_.byte();
        if (kind >= 240) return in_.text();
        if (kind % 4 == 0) return "<Pavo>" + reservation() + "</Pavo>";
        std::string devices;
        do {
            const auto [content, values, attributes] = in_.pick(kDevices);
            devices += filled(host_kit::device_element("{}", content, attributes), values);
        } while (in_.chance(32));
        return R"(<Pavo><Devices ID="7">)" + devices + "</Devices>" + (kind < 8 ? reservation() : "") +
               "</Pavo>";
    }

  private:
    /// The values are: n a small number, t an instant, g a GUID, p a path, a any number, c a channel state, x
    /// a context, a digit itself. Occasionally an attribute gets an unusual value instead.
    struct Form {
        const char* content;
        const char* values;
        const char* attributes;
    };
    static constexpr Form kDevices[] = {
        {"", "n1", R"( NorVaneSupported="{}")"},      {host_kit::contents::kChannel, "n00ct", ""},
        {host_kit::contents::kChannel, "n0nct", ""},  {host_kit::contents::kStorageInfo, "ng02a56x", ""},
        {host_kit::contents::kDone, "ng3", ""},       {host_kit::contents::kFailed, "ng4at", ""},
        {host_kit::contents::kClip, "ng3ptt1p1", ""}, {"", "n", R"( ipAddress="")"},
    };

    std::string reservation() { return filled(host_kit::contents::kReservation, "gpp"); }

    std::string filled(const std::string& form, const char* values) {
        return host_kit::filled_by(form, [&] { return value(*values++); });
    }

    std::string value(char kind) {
        constexpr const char* kUnusual[] = {
            "",  "-1", "2147483647", "-2147483648", "4294967295", "1024", "5x", "0x1F",
            "0", "1",  " 7 ",        "1.5",         "no guid",    "true", "3",  "{}"};
        constexpr const char* kPaths[] = {"tmp/a.mp4", "&quot;tmp/b c.mp4&quot;", "out/",
                                          "&quot;a&amp;&quot;b"};
        if (kind == 'x') return R"(<Context Number=")" + value('1') + R"("/>)";
        if (in_.byte() < 8) return in_.pick(kUnusual);
        if (kind == 'n') return std::to_string(1 + in_.below(3));
        if (kind == 't') return std::to_string(1'000'000 + 5 * in_.byte());
        if (kind == 'p') return in_.pick(kPaths);
        if (kind == 'a') return std::to_string(in_.number(2));
        if (kind == 'c') return in_.chance(128) ? "1" : "0";
        if (kind != 'g') return {kind};
        return guids_.empty() ? "" : to_string(guids_[guids_.size() - 1 - in_.below(guids_.size())]);
    }

    ByteSource& in_;
    const std::vector<norvane::Guid>& guids_;
};
