// The calls: what they write to the host's records, in any order, and the texts that they lend.

#include <thread>

#include "tools/host_kit/module_library.h"
#include "tools/recorder/host/module_fault.h"
#include "tools/recorder/validate/cases.h"

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

/// The module without a callback, so that it sends nothing.
class SilentModule : host_kit::ModuleLibrary, public host_kit::Module {
  public:
    explicit SilentModule(const CaseFixture& fixture)
        : ModuleLibrary(fixture.module()), Module(ModuleLibrary::entry_points(), throw_module_fault) {}

    void load() const { Module::load(nullptr); }
    void run_main_loop() const {
        require_record("IOCTL code 1", ioctl(hr::kRunMainLoop),
                       host_kit::with<hr::IoctlResult, hr::IoctlResult::Status>(hr::kAccepted));
    }
    void require_refusing() const {
        require_record("Write", write(nullptr, 0),
                       host_kit::with<hr::WriteResult, hr::WriteResult::Status>(hr::kRefused));
    }
    void require_close() const { require_record("Close", close(), closed()); }
    void require_unload() const { require_record("Unload", unload(), closed()); }

  private:
    static hr::CloseResult::Bytes closed() {
        return host_kit::with<hr::CloseResult, hr::CloseResult::Status>(hr::kAccepted);
    }
};

constexpr Case kCases[] = {
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
         fixture.simulator().close();  // a release of the text would be one of a text that was never lent
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
    {"order.before-load", "calls before Load have no effect; messages are refused",
     [](CaseFixture& fixture) {
         const SilentModule module(fixture);
         module.require_refusing();
         module.run_main_loop();
         module.require_close();
         module.require_unload();
     }},
    {"order.before-open", "messages are refused between Load and Open",
     [](CaseFixture& fixture) {
         const SilentModule module(fixture);
         module.load();
         module.require_refusing();
         module.require_unload();
     }},
    {"order.main-loop-first", "a main loop may run before Open",
     [](CaseFixture& fixture) {
         const SilentModule module(fixture);
         module.load();
         std::thread main_loop([&] { module.run_main_loop(); });
         module.open();
         module.require_close();
         main_loop.join();
         module.require_unload();
     }},
    {"order.after-close", "a main loop after Close returns at once; messages are refused",
     [](CaseFixture& fixture) {
         const SilentModule module(fixture);
         module.load();
         module.open();
         std::thread main_loop([&] { module.run_main_loop(); });
         module.require_close();
         main_loop.join();
         module.require_refusing();
         module.run_main_loop();
         module.require_unload();
     }},
    {"order.without-main-loop", "Close without a main loop returns and saves the state",
     [](CaseFixture& fixture) {
         const SilentModule module(fixture);
         module.load();
         module.open();
         module.require_close();
         module.require_unload();
         require(text_of_file(fixture.directory().state_file()).has_value(), "Close wrote no state file");
     }},
    {"order.again", "the module is loaded and closed twice in one process",
     [](CaseFixture& fixture) {
         for (int i = 0; i < 2; ++i) {
             fixture.open();
             fixture.simulator().report(fixture.camera(), false, kLost);
             fixture.simulator().close();
         }
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
    return kCases;
}

}  // namespace recorder::validate
