#include <windows.h>

#include <algorithm>
#include <string_view>

#include "platform/text.h"

namespace platform {

Path path_of(const std::string& narrow) {
    const int length = static_cast<int>(narrow.size());
    std::wstring wide(
        static_cast<std::size_t>(::MultiByteToWideChar(CP_ACP, 0, narrow.data(), length, nullptr, 0)), L'\0');
    ::MultiByteToWideChar(CP_ACP, 0, narrow.data(), length, wide.data(), static_cast<int>(wide.size()));
    return Path(wide);
}

std::string narrow_text(const Path& path) {
    const std::wstring& wide = path.native();
    const int length = static_cast<int>(wide.size());
    const int bytes = ::WideCharToMultiByte(CP_ACP, 0, wide.data(), length, nullptr, 0, nullptr, nullptr);
    std::string narrow(static_cast<std::size_t>(bytes), '\0');
    ::WideCharToMultiByte(CP_ACP, 0, wide.data(), length, narrow.data(), bytes, nullptr, nullptr);
    return narrow;
}

/// Also replaces what is outside ASCII: std::filesystem and the module read it in different code pages.
std::string file_name_of(std::string text) {
    const auto forbidden = [](char c) {
        constexpr std::string_view kForbidden = R"(<>:"/\|?*)";
        return c < ' ' || c > '~' || kForbidden.find(c) != std::string_view::npos;
    };
    std::ranges::replace_if(text, forbidden, '_');
    return text;
}

}  // namespace platform
