// What the entry points write into the host's records, and that they write nothing else.

#include <array>

#include "tools/recorder/host/record_check.h"
#include "tools/recorder/validate/cases.h"

namespace recorder::validate {
namespace {

namespace hr = host_records;

/// The played host looks at every byte of every record that goes by.
void usual_calls(Trial& trial) {
    trial.open();
    trial.send("<Pavo><Wrote/></Pavo>");
    trial.send("<Pavo><Controlled/></Pavo>");  // the third message goes in by IOCTL
    trial.simulator().close();
}

void ioctl_codes(Trial& trial) {
    trial.open();
    for (const std::uint32_t code : {0U, 3U, 4U, 512U, 0xFFFFFFFFU}) {
        require_record(fmt::format("IOCTL code {}", code), trial.simulator().host().module().ioctl(code),
                       host_kit::with<hr::IoctlResult, hr::IoctlResult::Status>(
                           code == hr::kNothing ? hr::kAccepted : hr::kRefused));
    }
    trial.simulator().close();
}

/// The module must not accept the message, and must set exactly the given fields.
void write_refused_message(Trial& trial, std::uint8_t refused, std::uint32_t identifier,
                           const hr::WriteResult::Bytes& expected) {
    static constexpr std::string_view kText = "<Pavo><Refused/></Pavo>";
    require_record("Write",
                   trial.simulator().host().module().write(kText.data(), kText.size(), refused, identifier),
                   expected);
}

void write_refused(Trial& trial) {
    trial.open();
    for (const std::uint8_t flag : {std::uint8_t{1}, std::uint8_t{0x80}}) {
        write_refused_message(trial, flag, 1,
                              host_kit::with<hr::WriteResult, hr::WriteResult::Status>(hr::kRefused));
    }
    trial.simulator().close();  // a release of the text would be one of a text that was never lent
}

void write_of_its_own(Trial& trial) {
    trial.open();
    write_refused_message(trial, 0, hr::kModuleId, host_kit::unwritten<hr::WriteResult>());
    trial.simulator().close();
}

void missing_records(Trial& trial) {
    trial.open();
    const host_kit::EntryPoints& all = trial.simulator().host().module().entry_points();
    for (host_kit::EntryPoint* const entry_point : {all.read, all.seek, all.ioctl}) {
        require(entry_point(nullptr, nullptr) == 0, "an entry point without records did not return 0");
    }
    trial.simulator().close();
}

constexpr std::array kCases = {
    Case{"records.usual-calls", "every byte of every record in a usual conversation", usual_calls},
    Case{"records.ioctl-codes", "status of IOCTL for codes 0, 3, 4 and beyond", ioctl_codes},
    Case{"records.write-refused", "a Write with the refusal flag: status -1, count left alone",
         write_refused},
    Case{"records.write-of-its-own", "a Write of the module's own: record left alone", write_of_its_own},
    Case{"records.missing", "null records are answered like zeros", missing_records},
};

}  // namespace

Cases record_cases() {
    return kCases;
}

}  // namespace recorder::validate
