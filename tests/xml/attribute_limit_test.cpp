#include "xml/attribute_limit.h"

#include <gtest/gtest.h>

#include "tests/support/byte_text.h"

namespace {

std::string tag_of(int attributes, const std::string& value = "''") {
    std::string tag = "<a";
    for (int i = 0; i < attributes; ++i) tag += " b" + std::to_string(i) + "=" + value;
    return tag + ">";
}

}  // namespace

TEST(MarkupTest, TagsMayHave256AttributesAndNoMore) {
    const std::string most = tag_of(256);
    const std::string many = tag_of(257);
    const std::string inert = "<?" + many.substr(1) + "?><!--" + many + "--><![CDATA[" + many + "]]>";
    const std::vector<std::string> modest = {"",
                                             inert + most + most + "</a>",
                                             "no XML '\"' at all",
                                             "<!" + many.substr(1),
                                             most + zeros(1) + many,
                                             "<!--" + many,
                                             "<",
                                             "<a b='"};
    for (const std::string& text : modest) {
        EXPECT_TRUE(xml::within_attribute_limit(text)) << text.substr(0, 20);
    }
    const std::vector<std::string> immodest = {many,
                                               most + many,
                                               tag_of(257, "'>'"),
                                               tag_of(257, "\"'/>\""),
                                               tag_of(257, "'\"<!--'"),
                                               "</" + many.substr(1),
                                               inert + "<!x>" + many,
                                               many.substr(0, many.size() - 1),
                                               "<!-->-->" + many};
    for (const std::string& text : immodest) {
        EXPECT_FALSE(xml::within_attribute_limit(text)) << text.substr(0, 20);
    }
}
