// What the calls write to the host's records, and the texts that they lend.

#include <fmt/format.h>

#include "plugin/interfaces/record_access.h"
#include "tools/recorder/host/module_fault.h"
#include "tools/recorder/validate/cases.h"
#include "tools/recorder/validate/plain_module.h"

namespace recorder::validate {
namespace {

namespace hr = host_records;

/// The module must not accept the message, and must set exactly the given fields.
void write_refused_message(CaseFixture& fixture, std::uint8_t refused, std::uint32_t identifier,
                           const hr::WriteResult::Bytes& expected) {
    static constexpr std::string_view kText = "<Pavo><Refused/></Pavo>";
    require_record("Write",
                   fixture.simulator().host().module().write(kText.data(), kText.size(), refused, identifier),
                   expected);
}

constexpr Case kCallCases[] = {
    {"records.usual-calls", "every byte of every record in an ordinary conversation",
     [](CaseFixture& fixture) {
         // ModuleHost checks every byte of every record.
         fixture.open();
         fixture.send("<Pavo><Wrote/></Pavo>");
         fixture.send("<Pavo><Controlled/></Pavo>");  // the third message uses IOCTL
     }},
    {"records.ioctl-codes", "status of IOCTL for codes 0, 3, 4 and larger",
     [](CaseFixture& fixture) {
         fixture.open();
         for (const std::uint32_t code : {0U, 3U, 4U, 512U, 0xFFFFFFFFU}) {
             require_record(fmt::format("IOCTL code {}", code),
                            fixture.simulator().host().module().ioctl(code),
                            host_kit::with<hr::IoctlResult, hr::IoctlResult::Status>(
                                code == hr::kNothing ? hr::kAccepted : hr::kRefused));
         }
     }},
    {"records.write-refused", "Write with the refusal flag: status -1, count unchanged",
     [](CaseFixture& fixture) {
         fixture.open();
         for (const std::uint8_t flag : {std::uint8_t{1}, std::uint8_t{0x80}}) {
             write_refused_message(fixture, flag, 1,
                                   host_kit::with<hr::WriteResult, hr::WriteResult::Status>(hr::kRefused));
         }
         // The module must not even read it. Close would notice its release, because it was never lent.
         require_record("Write",
                        fixture.simulator().host().module().write(hr::pointer_of<const char*>(16), 100, 1),
                        host_kit::with<hr::WriteResult, hr::WriteResult::Status>(hr::kRefused));
     }},
    {"records.write-of-its-own", "Write with the module's identifier: record unchanged",
     [](CaseFixture& fixture) {
         fixture.open();
         write_refused_message(fixture, 0, hr::kModuleId, host_kit::unwritten<hr::WriteResult>());
     }},
    {"records.missing", "null records are treated as zeros",
     [](CaseFixture& fixture) {
         fixture.open();
         const host_kit::EntryPoints& all = fixture.simulator().host().module().entry_points();
         for (host_kit::EntryPoint* const entry_point : {all.read, all.seek, all.ioctl}) {
             require(entry_point(nullptr, nullptr) == 0, "an entry point without records did not return 0");
         }
     }},
    {"records.unused", "the first record of Open, Close, Read, Seek and Unload is not read",
     [](CaseFixture& fixture) {
         const auto* const nowhere = hr::pointer_of<const void*>(16);
         PlainModule module(fixture);
         const host_kit::EntryPoints& all = module.calls().entry_points();
         module.load(PlainModule::Callback::kFirst);
         require_record("Open", module.calls().call<hr::OpenResult>(all.open, nowhere),
                        host_kit::with<hr::OpenResult, hr::OpenResult::Status>(hr::kAccepted));
         (void)module.calls().call<hr::ReadResult>(all.read, nowhere);
         (void)module.calls().call<hr::SeekResult>(all.seek, nowhere);
         for (host_kit::EntryPoint* const entry_point : {all.close, all.unload}) {
             require_record("Close", module.calls().call<hr::CloseResult>(entry_point, nowhere),
                            host_kit::with<hr::CloseResult, hr::CloseResult::Status>(hr::kAccepted));
         }
     }},
    {"buffers.length", "a text with a length above 2^31 - 1 is returned unread",
     [](CaseFixture& fixture) {
         PlainModule module(fixture);
         module.start();
         for (const std::uint32_t length : {0x80000000U, 0xFFFFFFFFU}) module.write("<Pavo/>", length);
         module.wait_for_texts();
         module.stop();
     }},
    {"buffers.without-nul", "a text ends with its length",
     [](CaseFixture& fixture) {
         fixture.open();
         fixture.lose_and_regain();
         (void)fixture.request();  // documents with an effect, each followed by bytes that are no XML
     }},
    {"buffers.thousands", "two thousand texts are returned once each, in order",
     [](CaseFixture& fixture) {
         fixture.open();
         for (int i = 0; i < 2'000; ++i) fixture.send("<Pavo/>");
     }},
    {"buffers.in-order", "fifty texts are returned once each, in order",
     [](CaseFixture& fixture) {
         // The host simulator reports a text that is returned twice, not returned, or never lent.
         fixture.open();
         for (int i = 0; i < 50; ++i) fixture.send("<Pavo><Number/></Pavo>");
     }},
    {"buffers.not-well-formed", "texts that are not documents are returned",
     [](CaseFixture& fixture) {
         fixture.open();
         for (const char* text :
              {"<Pavo>", "no document", "<a/><b/>", "<Pavo><Devices></Pavo>", "\xFF\xFE", "&"}) {
             fixture.send(text);
         }
     }},
    {"buffers.without-text", "an empty text is returned",
     [](CaseFixture& fixture) {
         fixture.open();
         fixture.send("");
     }},
    {"buffers.bad-guid", "a document with an invalid GUID has no effect",
     [](CaseFixture& fixture) {
         fixture.require_default();
         fixture.open();
         fixture.send_inside(R"(<Storage GUID="none" RetrievalStatus="3"/>)");
         fixture.send_inside(R"(<Storage RetrievalStatus="3"/>)");
     }},
    {"buffers.at-close", "queued texts are returned at Close",
     [](CaseFixture& fixture) {
         // Texts that are still queued at Close are returned unread.
         fixture.open();
         fixture.simulator().settle();
         for (int i = 0; i < 200; ++i) fixture.send("<Pavo><Unread/></Pavo>");
     }},
    {"buffers.release-fails", "a failure of the host at a release is logged",
     [](CaseFixture& fixture) {
         fixture.open();
         fixture.simulator().settle();
         fixture.simulator().host().answer_releases_with({5, 7});
         fixture.send("<Pavo><Kept/></Pavo>");
         fixture.model().expect_log(25, "Decrement reference event returned : 5 error : 7\n");
         fixture.simulator().settle();
         fixture.simulator().host().answer_releases_with({});
     }},
};

}  // namespace

Cases call_cases() {
    return kCallCases;
}

}  // namespace recorder::validate
