#include "store/xml_store.h"

#include <tinyxml2.h>

#include <algorithm>
#include <stdexcept>
#include <tuple>

#include "store/state_names.h"
#include "xml/parse.h"

namespace norvane {

bool CXmlStore::save(EngineState& state) {
    std::ranges::stable_sort(state.gaps, {}, [](const DisconnectRecord& record) {
        return std::tuple(record.channel.devices_id, record.channel.device_number);
    });
    tinyxml2::XMLPrinter out;
    out.PushDeclaration(state::kDeclaration);
    out.OpenElement(state::kPavo);
    state::print_records(out, state.gaps, channels_);
    state::print_operations(out, state.operations, false);
    out.CloseElement();
    return files_.replace_whole(state::kFileName, out.CStr());
}

std::size_t CXmlStore::load(EngineState& state, state::BadRecord bad) {
    const auto text = files_.read_whole(state::kFileName);
    tinyxml2::XMLDocument document;
    if (!text || !xml::parse(document, *text)) throw std::invalid_argument(state::kUnreadable);
    const tinyxml2::XMLElement* pavo = document.FirstChildElement(state::kPavo);
    if (pavo == nullptr) return 0;
    const std::size_t skipped = state::load_records(*pavo, channels_, bad, state.gaps);
    return skipped + state::load_operations(*pavo, failures_, state.operations);
}

}  // namespace norvane
