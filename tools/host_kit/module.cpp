#include "tools/host_kit/module.h"

#include "plugin/interfaces/record_access.h"

namespace host_kit {

using namespace host_records;

ModuleInfo::Bytes Module::load(HostCallback callback) const {
    const auto input =
        with<HostInfo, HostInfo::Callback>(address_of(reinterpret_cast<const void*>(callback)));
    return call<ModuleInfo>(entry_points_.load, input.data());
}

WriteResult::Bytes Module::write(const char* text, std::uint32_t length, std::uint8_t refused,
                                 std::uint32_t identifier) const {
    auto input = with<WriteRequest, WriteRequest::Text>(address_of(text));
    WriteRequest::Length::put(input, length);
    WriteRequest::Refused::put(input, refused);
    WriteRequest::Identifier::put(input, identifier);
    return call<WriteResult>(entry_points_.write, input.data());
}

IoctlResult::Bytes Module::ioctl(std::uint32_t code, const char* text, std::uint32_t length) const {
    auto input = with<IoctlRequest, IoctlRequest::Code>(code);
    IoctlRequest::Length::put(input, length);
    IoctlRequest::Text::put(input, address_of(text));
    return call<IoctlResult>(entry_points_.ioctl, input.data());
}

void Module::call_checked(EntryPoint* entry_point, const void* input, std::span<platform::Byte> memory,
                          std::size_t output_size) const {
    std::ranges::fill(memory, kUnwritten);
    if (entry_point(input, memory.data()) != 0) on_fault_("an entry point did not return 0");
    const auto is_unwritten = [](platform::Byte byte) { return byte == kUnwritten; };
    if (!std::ranges::all_of(memory.subspan(output_size), is_unwritten))
        on_fault_("an entry point wrote past its output record");
}

}  // namespace host_kit
