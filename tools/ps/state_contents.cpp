#include "tools/ps/state_contents.h"

#include <tinyxml2.h>

#include <fmt/format.h>

#include <stdexcept>

#include "platform/file.h"
#include "store/journal.h"
#include "store/state_elements.h"
#include "store/state_names.h"
#include "xml/parse.h"

namespace ps_tool {
namespace {

StateContents journal_contents(const std::string& text) {
    norvane::Journal::Content content = norvane::Journal::parse(text);
    StateContents contents;
    contents.journal = true;
    if (content.damaged) contents.fault = "a line is damaged; the intact lines are shown";
    if (content.recovered) {
        contents.state = std::move(content.recovered->state);
        contents.alive = content.recovered->alive;
    }
    return contents;
}

StateContents state_file_contents(const std::string& text) {
    StateContents contents;
    tinyxml2::XMLDocument document;
    if (!xml::parse(document, text)) {
        contents.fault = "neither a state file nor a journal";
        return contents;
    }
    const auto* pavo = document.FirstChildElement(norvane::state::kPavo);
    if (pavo == nullptr) {
        contents.fault = "an XML file, but not a state file: the root element is not Pavo";
        return contents;
    }
    namespace state = norvane::state;
    try {
        (void)state::load_records(*pavo, true, state::BadRecord::kEndsLoad, contents.state.gaps);
    } catch (const std::invalid_argument& error) {
        contents.fault =
            fmt::format("{}; without the option journal, the module ignores what follows", error.what());
        contents.state.gaps.clear();
        (void)state::load_records(*pavo, true, state::BadRecord::kIsSkipped, contents.state.gaps);
    }
    (void)state::load_operations(*pavo, true, contents.state.operations);
    return contents;
}

}  // namespace

std::optional<StateContents> read_state(const std::string& path) {
    const auto text = platform::system_files().read_whole(path);
    if (!text) return std::nullopt;
    return text->starts_with('<') ? state_file_contents(*text) : journal_contents(*text);
}

}  // namespace ps_tool
