// What the entry points write into the host's records, and that they write nothing else.

#include <array>

#include "tools/recorder/validate/cases.h"
#include "tools/recorder/validate/raw_call.h"

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
    ModuleLibrary::EntryPoint* const ioctl = trial.simulator().host().module().ioctl;
    for (const std::uint32_t code : {0U, 3U, 4U, 512U, 0xFFFFFFFFU}) {
        const auto request = with<hr::IoctlRequest, hr::IoctlRequest::Code>(code);
        const auto expected = with<hr::IoctlResult, hr::IoctlResult::Status>(
            code == hr::kNothing ? hr::kAccepted : hr::kRefused);
        require_record(fmt::format("IOCTL code {}", code), call<hr::IoctlResult>(ioctl, request.data()),
                       expected);
    }
    trial.simulator().close();
}

/// A message that must not be taken: record and status as told, no text kept.
void write_in_vain(Trial& trial, hr::WriteRequest::Bytes request, const hr::WriteResult::Bytes& expected) {
    using Request = hr::WriteRequest;
    static constexpr std::string_view kText = "<Pavo><NotTaken/></Pavo>";
    Request::Length::put(request, static_cast<std::uint32_t>(kText.size()));
    Request::Text::put(request, std::bit_cast<std::uintptr_t>(kText.data()));
    const auto found = call<hr::WriteResult>(trial.simulator().host().module().write, request.data());
    require_record("Write", found, expected);
}

void write_refused(Trial& trial) {
    trial.open();
    for (const std::uint8_t flag : {std::uint8_t{1}, std::uint8_t{0x80}}) {
        write_in_vain(trial, with<hr::WriteRequest, hr::WriteRequest::Refused>(flag, {}),
                      with<hr::WriteResult, hr::WriteResult::Status>(hr::kRefused));
    }
    trial.simulator().close();  // a text that came back would be one that was never lent
}

void write_of_its_own(Trial& trial) {
    trial.open();
    write_in_vain(trial, with<hr::WriteRequest, hr::WriteRequest::Identifier>(hr::kModuleId, {}),
                  untouched<hr::WriteResult>());
    trial.simulator().close();
}

void missing_records(Trial& trial) {
    trial.open();
    const ModuleLibrary& library = trial.simulator().host().module();
    for (ModuleLibrary::EntryPoint* const entry_point : {library.read, library.seek, library.ioctl}) {
        require(entry_point(nullptr, nullptr) == 0, "an entry point without records returned not 0");
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
