#include "xml/attributes.h"

#include <gtest/gtest.h>

#include <boost/uuid/uuid_io.hpp>

#include "xml/descend.h"
#include "xml/parse.h"

TEST(XmlAttributes, IntegersHaveEveryFormThatTheLibraryAccepts) {
    tinyxml2::XMLDocument document;
    ASSERT_TRUE(xml::parse(
        document,
        "<a zero='0' padded='007' blank=' 1' sign='-1' plus='+1' hex='0x1F' tail='4x' empty='' word='x'/>"));
    const auto value = [&](const char* name) {
        return xml::integer_attribute(*document.RootElement(), name);
    };
    const std::pair<const char*, int> integers[] = {{"zero", 0}, {"padded", 7}, {"blank", 1}, {"sign", -1},
                                                    {"plus", 1}, {"hex", 31},   {"tail", 4}};
    for (const auto& [name, expected] : integers) EXPECT_EQ(value(name), expected) << name;
    for (const char* name : {"empty", "word", "missing"}) EXPECT_EQ(value(name), std::nullopt) << name;
}

TEST(XmlAttributes, GuidsMayHaveBracesAndNoDashes) {
    const std::string plain = "00112233-4455-6677-8899-aabbccddeeff";
    for (const char* text : {"00112233-4455-6677-8899-aabbccddeeff", "{00112233-4455-6677-8899-AABBCCDDEEFF}",
                             "00112233445566778899aabbccddeeff"}) {
        const auto guid = xml::parse_guid(text);
        ASSERT_TRUE(guid) << text;
        EXPECT_EQ(boost::uuids::to_string(*guid), plain);
    }
    for (const char* text :
         {"", "x", "{00112233-4455-6677-8899-aabbccddeeff", "00112233-4455-6677-8899-aabbccddeef",
          "00112233-4455-6677-8899-aabbccddeeff0", "00112233-4455-66778899-aabbccddeeff"})
        EXPECT_EQ(xml::parse_guid(text), std::nullopt) << text;
}

TEST(XmlDescend, FollowsFirstChildren) {
    tinyxml2::XMLDocument document;
    ASSERT_TRUE(xml::parse(document, "<a><b n='1'><c n='2'/></b><b><d/></b></a>"));
    const auto* root = document.RootElement();
    EXPECT_STREQ(xml::descend(root, "b", "c")->Attribute("n"), "2");
    EXPECT_EQ(xml::descend(root, "b", "d"), nullptr);
    EXPECT_EQ(xml::descend(nullptr, "b"), nullptr);
}
