// The host's texts: each comes back, once, unchanged until then, in order.

#include <array>

#include "tools/recorder/validate/cases.h"

namespace recorder::validate {
namespace {

/// The played host counts: a text twice back, never back or never lent is a finding.
void in_order(Trial& trial) {
    trial.open();
    for (int i = 0; i < 50; ++i) trial.send("<Pavo><Number/></Pavo>");
    trial.simulator().close();
}

void not_well_formed(Trial& trial) {
    trial.open();
    for (const char* text :
         {"<Pavo>", "no document", "<a/><b/>", "<Pavo><Devices></Pavo>", "\xFF\xFE", "&"}) {
        trial.send(text);
    }
    trial.simulator().close();
}

void without_text(Trial& trial) {
    trial.open();
    trial.send("");
    trial.simulator().close();
}

void bad_guid(Trial& trial) {
    trial.open();
    trial.send_inside(R"(<Storage GUID="none" RetrievalStatus="3"/>)");
    trial.send_inside(R"(<Storage RetrievalStatus="3"/>)");
    trial.simulator().close();
}

/// What is still queued when the module is closed comes back unread.
void at_close(Trial& trial) {
    trial.open();
    trial.simulator().settle();
    for (int i = 0; i < 200; ++i) trial.send("<Pavo><Unread/></Pavo>");
    trial.simulator().close();
}

void release_fails(Trial& trial) {
    trial.open();
    trial.simulator().settle();
    trial.simulator().host().answer_releases_with({5, 7});
    trial.send("<Pavo><Kept/></Pavo>");
    trial.model().expect_log(25, "Decrement reference event returned : 5 error : 7\n");
    trial.simulator().settle();
    trial.simulator().host().answer_releases_with({});
    trial.simulator().close();
}

constexpr std::array kCases = {
    Case{"buffers.in-order", "fifty texts come back once each, in order", in_order},
    Case{"buffers.not-well-formed", "texts that are no documents come back too", not_well_formed},
    Case{"buffers.without-text", "a text of no length comes back", without_text},
    Case{"buffers.bad-guid", "a GUID that is none costs its document and nothing else", bad_guid},
    Case{"buffers.at-close", "texts in the queue come back when the module is closed", at_close},
    Case{"buffers.release-fails", "a host that fails to take a text back is logged", release_fails},
};

}  // namespace

Cases buffer_cases() {
    return kCases;
}

}  // namespace recorder::validate
