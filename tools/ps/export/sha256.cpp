#include "tools/ps/export/sha256.h"

extern "C" {
#include <libavutil/mem.h>
#include <libavutil/sha.h>
#include <libavutil/version.h>
}

#include <array>
#include <new>
#include <vector>

#include "platform/file.h"
#include "tools/cli/unusable_inputs.h"
#include "tools/ps/av_library.h"

namespace ps_tool {

struct Sha256::Library {
    boost::dll::shared_library library =
        load_av_library("avutil", LIBAVUTIL_VERSION_MAJOR, "install it or export without --hash");
    decltype(&::av_sha_alloc) alloc = AvSymbol{library, "av_sha_alloc"};
    decltype(&::av_sha_init) init = AvSymbol{library, "av_sha_init"};
    decltype(&::av_sha_update) update = AvSymbol{library, "av_sha_update"};
    decltype(&::av_sha_final) final_digest = AvSymbol{library, "av_sha_final"};
    decltype(&::av_free) free_context = AvSymbol{library, "av_free"};
};

Sha256::Sha256() : library_(std::make_unique<Library>()) {}
Sha256::~Sha256() = default;

/// The digest of the pieces that `give` passes on.
std::string Sha256::digest_of(const std::function<void(const Update& update)>& give) {
    constexpr int kBits = 256;
    const std::unique_ptr<::AVSHA, decltype(&::av_free)> context(library_->alloc(), library_->free_context);
    if (!context || library_->init(context.get(), kBits) != 0) throw std::bad_alloc();
    give([&](std::span<const platform::Byte> piece) {
        library_->update(context.get(), piece.data(), piece.size());
    });
    std::array<std::uint8_t, kBits / 8> digest{};
    library_->final_digest(context.get(), digest.data());
    std::string text;
    for (const std::uint8_t byte : digest) text += fmt::format("{:02x}", byte);
    return text;
}

std::string Sha256::of_bytes(std::span<const platform::Byte> bytes) {
    return digest_of([&](const Update& update) { update(bytes); });
}

std::string Sha256::of_file(const std::string& path, const std::function<void(double)>& show) {
    constexpr std::size_t kPiece = 1U << 20U;
    const auto file = platform::system_files().open_input(path);
    if (!file) throw cli::CannotRun(path + ": " + cli::why_unreadable(path));
    std::vector<platform::Byte> piece(kPiece);
    return digest_of([&](const Update& update) {
        for (std::uint64_t at = 0; at < file->size();) {
            const auto wanted = std::span(piece).first(std::min<std::uint64_t>(kPiece, file->size() - at));
            if (file->read_at(at, wanted) != wanted.size()) throw cli::CannotRun(path + ": cannot be read");
            update(wanted);
            at += wanted.size();
            show(static_cast<double>(at) / static_cast<double>(file->size()));
        }
    });
}

}  // namespace ps_tool
