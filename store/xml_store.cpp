#include "store/xml_store.h"

#include <tinyxml2.h>

#include <algorithm>
#include <stdexcept>
#include <tuple>

#include "store/state_elements.h"
#include "store/state_names.h"
#include "xml/parse.h"

namespace norvane {
/// The result is ignored: a state that cannot be saved must not stop the host's shutdown.
void CXmlStore::SaveState(std::vector<DisconnectRecord>& records, const std::vector<Operation>& operations) {
    (void)save(records, operations);
}

bool CXmlStore::save(std::vector<DisconnectRecord>& records, const std::vector<Operation>& operations) {
    std::ranges::stable_sort(records, {}, [](const DisconnectRecord& record) {
        return std::tuple(record.channel.devices_id, record.channel.device_number);
    });
    tinyxml2::XMLPrinter out;
    out.PushDeclaration(state::kDeclaration);
    out.OpenElement(state::kPavo);
    state::print_records(out, records, channels_);
    state::print_operations(out, operations);
    out.CloseElement();
    return files_.replace_whole(state::kFileName, out.CStr());
}

void CXmlStore::LoadState(std::vector<DisconnectRecord>& records, std::vector<Operation>& operations) {
    const auto text = files_.read_whole(state::kFileName);
    tinyxml2::XMLDocument document;
    if (!text || !xml::parse(document, *text)) throw std::invalid_argument(state::kUnreadable);
    const tinyxml2::XMLElement* pavo = document.FirstChildElement(state::kPavo);
    if (pavo == nullptr) return;
    state::load_records(*pavo, channels_, records);
    state::load_operations(*pavo, operations);
}

}  // namespace norvane
