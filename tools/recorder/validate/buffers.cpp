// The lent texts: each is returned once and in order.

#include <array>

#include "tools/recorder/validate/cases.h"

namespace recorder::validate {
namespace {

/// The host simulator reports a text that is returned twice, not returned, or never lent.
void in_order(CaseFixture& fixture) {
    fixture.open();
    for (int i = 0; i < 50; ++i) fixture.send("<Pavo><Number/></Pavo>");
    fixture.simulator().close();
}

void not_well_formed(CaseFixture& fixture) {
    fixture.open();
    for (const char* text :
         {"<Pavo>", "no document", "<a/><b/>", "<Pavo><Devices></Pavo>", "\xFF\xFE", "&"}) {
        fixture.send(text);
    }
    fixture.simulator().close();
}

void without_text(CaseFixture& fixture) {
    fixture.open();
    fixture.send("");
    fixture.simulator().close();
}

void bad_guid(CaseFixture& fixture) {
    fixture.open();
    fixture.send_inside(R"(<Storage GUID="none" RetrievalStatus="3"/>)");
    fixture.send_inside(R"(<Storage RetrievalStatus="3"/>)");
    fixture.simulator().close();
}

/// Texts that are still queued at Close are returned unread.
void at_close(CaseFixture& fixture) {
    fixture.open();
    fixture.simulator().settle();
    for (int i = 0; i < 200; ++i) fixture.send("<Pavo><Unread/></Pavo>");
    fixture.simulator().close();
}

void release_fails(CaseFixture& fixture) {
    fixture.open();
    fixture.simulator().settle();
    fixture.simulator().host().answer_releases_with({5, 7});
    fixture.send("<Pavo><Kept/></Pavo>");
    fixture.model().expect_log(25, "Decrement reference event returned : 5 error : 7\n");
    fixture.simulator().settle();
    fixture.simulator().host().answer_releases_with({});
    fixture.simulator().close();
}

constexpr std::array kCases = {
    Case{"buffers.in-order", "fifty texts are returned once each, in order", in_order},
    Case{"buffers.not-well-formed", "texts that are not documents are returned", not_well_formed},
    Case{"buffers.without-text", "an empty text is returned", without_text},
    Case{"buffers.bad-guid", "a document with an invalid GUID has no effect", bad_guid},
    Case{"buffers.at-close", "queued texts are returned at Close", at_close},
    Case{"buffers.release-fails", "a failure of the host at a release is logged", release_fails},
};

}  // namespace

Cases buffer_cases() {
    return kCases;
}

}  // namespace recorder::validate
