#include "mp4/box_types.h"

#include <algorithm>
#include <array>

namespace {

/// The type codes of the names, sorted for binary search.
template <std::size_t Count>
constexpr std::array<BoxType, Count> sorted_types(const std::string_view (&names)[Count]) {
    std::array<BoxType, Count> types{};
    std::transform(std::begin(names), std::end(names), types.begin(), box_type);
    std::sort(types.begin(), types.end());
    return types;
}

constexpr auto kContainers =
    sorted_types({"pdin", "moov", "moof", "mfra", "meta", "meco", "styp", "prft", "trak", "tref", "edts",
                  "mdia", "minf", "dinf", "drm ", "stbl", "ipro", "sinf", "traf", "xml ", "bxml"});

constexpr auto kSkipped =
    sorted_types({"skip", "free", "mdat", "tkhd", "trgr", "elst", "mdhd", "elng", "vmhd", "smhd", "hmhd",
                  "sthd", "nmhd", "ctts", "cslg", "padb", "mvex", "sdtp", "sbgp", "mehd", "trex", "leva",
                  "mfhd", "tfhd", "trun", "sgpd", "subs", "saiz", "saio", "tfdt", "tfra", "mfro", "cprt",
                  "tsel", "udta", "hdlr", "dref", "iloc", "frma", "schm", "schi", "iinf", "pitm", "fiin",
                  "fire", "fpar", "fecr", "segr", "gitn", "idat", "iref", "mere", "sidx", "ssix", "rdrf"});

static_assert(kContainers.size() == 21 && kSkipped.size() == 55);

}  // namespace

bool is_container_box(BoxType type) noexcept {
    return std::binary_search(kContainers.begin(), kContainers.end(), type);
}

bool is_skipped_box(BoxType type) noexcept {
    return std::binary_search(kSkipped.begin(), kSkipped.end(), type);
}
