// The fields that the entry points write to the host's records, and that they write nothing else.

#include <array>

#include "tools/recorder/host/record_check.h"
#include "tools/recorder/validate/cases.h"

namespace recorder::validate {
namespace {

namespace hr = host_records;

/// ModuleHost checks every byte of every record.
void usual_calls(CaseFixture& fixture) {
    fixture.open();
    fixture.send("<Pavo><Wrote/></Pavo>");
    fixture.send("<Pavo><Controlled/></Pavo>");  // the third message uses IOCTL
    fixture.simulator().close();
}

void ioctl_codes(CaseFixture& fixture) {
    fixture.open();
    for (const std::uint32_t code : {0U, 3U, 4U, 512U, 0xFFFFFFFFU}) {
        require_record(fmt::format("IOCTL code {}", code), fixture.simulator().host().module().ioctl(code),
                       host_kit::with<hr::IoctlResult, hr::IoctlResult::Status>(
                           code == hr::kNothing ? hr::kAccepted : hr::kRefused));
    }
    fixture.simulator().close();
}

/// The module must not accept the message, and must set exactly the given fields.
void write_refused_message(CaseFixture& fixture, std::uint8_t refused, std::uint32_t identifier,
                           const hr::WriteResult::Bytes& expected) {
    static constexpr std::string_view kText = "<Pavo><Refused/></Pavo>";
    require_record("Write",
                   fixture.simulator().host().module().write(kText.data(), kText.size(), refused, identifier),
                   expected);
}

void write_refused(CaseFixture& fixture) {
    fixture.open();
    for (const std::uint8_t flag : {std::uint8_t{1}, std::uint8_t{0x80}}) {
        write_refused_message(fixture, flag, 1,
                              host_kit::with<hr::WriteResult, hr::WriteResult::Status>(hr::kRefused));
    }
    fixture.simulator().close();  // a release of the text would be one of a text that was never lent
}

void write_of_its_own(CaseFixture& fixture) {
    fixture.open();
    write_refused_message(fixture, 0, hr::kModuleId, host_kit::unwritten<hr::WriteResult>());
    fixture.simulator().close();
}

void missing_records(CaseFixture& fixture) {
    fixture.open();
    const host_kit::EntryPoints& all = fixture.simulator().host().module().entry_points();
    for (host_kit::EntryPoint* const entry_point : {all.read, all.seek, all.ioctl}) {
        require(entry_point(nullptr, nullptr) == 0, "an entry point without records did not return 0");
    }
    fixture.simulator().close();
}

constexpr std::array kCases = {
    Case{"records.usual-calls", "every byte of every record in an ordinary conversation", usual_calls},
    Case{"records.ioctl-codes", "status of IOCTL for codes 0, 3, 4 and larger", ioctl_codes},
    Case{"records.write-refused", "Write with the refusal flag: status -1, count unchanged", write_refused},
    Case{"records.write-of-its-own", "Write with the module's identifier: record unchanged",
         write_of_its_own},
    Case{"records.missing", "null records are treated as zeros", missing_records},
};

}  // namespace

Cases record_cases() {
    return kCases;
}

}  // namespace recorder::validate
