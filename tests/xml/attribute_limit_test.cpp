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

TEST(AttributeLimitTest, ATagMayHave256Attributes) {
    const std::string full = tag_of(256);
    const std::string over = tag_of(257);
    const std::string inert = "<?" + over.substr(1) + "?><!--" + over + "--><![CDATA[" + over + "]]>";
    const std::string within[] = {"",
                                  inert + full + full + "</a>",
                                  "no XML '\"' at all",
                                  "<!" + over.substr(1),
                                  full + zeros(1) + over,
                                  "<!--" + over,
                                  "<",
                                  "<a b='"};
    for (const std::string& text : within) {
        EXPECT_TRUE(xml::within_attribute_limit(text)) << text.substr(0, 20);
    }
    const std::string beyond[] = {over,
                                  full + over,
                                  tag_of(257, "'>'"),
                                  tag_of(257, "\"'/>\""),
                                  tag_of(257, "'\"<!--'"),
                                  "</" + over.substr(1),
                                  inert + "<!x>" + over,
                                  over.substr(0, over.size() - 1),
                                  "<!-->-->" + over};
    for (const std::string& text : beyond) {
        EXPECT_FALSE(xml::within_attribute_limit(text)) << text.substr(0, 20);
    }
}
