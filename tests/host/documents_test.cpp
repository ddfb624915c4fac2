#include <gtest/gtest.h>

#include "host/documents/names.h"
#include "host/documents/outgoing.h"
#include "host/documents/printable.h"
#include "host/documents/quoted_path.h"
#include "plugin/interfaces/records.h"

namespace {

const norvane::Guid kGuid = {
    {0x3f, 0x2b, 0x8c, 0x1e, 0x5d, 0x4a, 0x4e, 0x0b, 0x9a, 0x7c, 0x21, 0xd0, 0xc6, 0xe4, 0xf8, 0xa5}};

/// The document as it is sent, without its declaration.
template <typename Fill>
std::string printed(Fill fill) {
    tinyxml2::XMLDocument document;
    fill(document);
    tinyxml2::XMLPrinter printer(nullptr, true);
    document.Print(&printer);
    const std::string text = printer.CStr();
    const std::string declaration = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>";
    EXPECT_EQ(text.substr(0, declaration.size()), declaration);
    return text.substr(declaration.size());
}

}  // namespace

TEST(Documents, RegistrationAndFeatures) {
    EXPECT_EQ(
        printed(documents::fill_registration),
        "<Pavo Delta=\"0\"><Modules><Module Name=\"norvanepi\" ID=\"5308416\" Version=\"1.0.0.0\"/></Modules>"
        "</Pavo>");
    EXPECT_EQ(printed(documents::fill_features), "<Pavo Delta=\"0\"><Norvane ID=\"5308416\"/></Pavo>");
}

TEST(Documents, DeviceNumbersAreUnsignedAndDevicesIdentifiersSigned) {
    // Seconds are narrowed to 32 bits.
    const documents::DeviceStorageCommand command{kGuid,
                                                  {0xFFFFFFFF, 0xFFFFFFFF},
                                                  platform::ticks_of(-3) - 9'999'999,
                                                  4'294'967'298 * platform::kTicksPerSecond};
    const std::string middle =
        "<Pavo Delta=\"1\"><Devices ID=\"-1\"><Device Number=\"4294967295\"><Storage "
        "GUID=\"3f2b8c1e-5d4a-4e0b-9a7c-21d0c6e4f8a5\" Command=\"";
    const std::string times = "\" Start=\"-3\" Stop=\"2\"";
    const std::string end = "/></Device></Devices></Pavo>";
    EXPECT_EQ(printed([&](auto& document) { documents::fill_storage_info_request(document, command); }),
              middle + "1" + times + end);
    EXPECT_EQ(
        printed([&](auto& document) { documents::fill_recordings_request(document, command, "/t \"&'<>"); }),
        middle + "2" + times + " TmpFileDir=\"&quot;/t &amp;&quot;&amp;&amp;&apos;&lt;&gt;&quot;\"" + end);
}

TEST(Documents, ReservationsAndStatus) {
    EXPECT_EQ(
        printed([](auto& document) { documents::fill_reservation_request(document, kGuid, 4'194'303); }),
        "<Pavo><Storage ID=\"327680\"><Reservation GUID=\"3f2b8c1e-5d4a-4e0b-9a7c-21d0c6e4f8a5\" "
        "Command=\"4\" "
        "ReserveGB=\"4194303\"/></Storage></Pavo>");
    EXPECT_EQ(printed([](auto& document) { documents::fill_reservation_release(document, kGuid); }),
              "<Pavo><Storage ID=\"327680\"><Reservation GUID=\"3f2b8c1e-5d4a-4e0b-9a7c-21d0c6e4f8a5\" "
              "Command=\"3\"/>"
              "</Storage></Pavo>");
    EXPECT_EQ(
        printed([](auto& document) { documents::fill_status(document, 3, platform::ticks_of(12) + 1); }),
        "<Pavo><NorVane ID=\"5308416\" Status=\"3\" Time=\"12\"/></Pavo>");
}

TEST(Documents, LogTextIsEscapedOnlyByThePrinter) {
    EXPECT_EQ(printed([](auto& document) {
                  documents::fill_log_message(document, kLogError, "a <b> & 'c' \"d\"\n\xff");
              }),
              "<log_msg level=\"75\">a &lt;b&gt; &amp; 'c' \"d\"\n\xff</log_msg>");
}

TEST(Documents, UnquotedReversesQuotedAndReadsUnquotedWords) {
    for (const char* path : {"", " ", "/a b", "\"", "&", "a&\"b\"&", "a//b/", "\xff\xfe/\x80"}) {
        EXPECT_EQ(documents::unquoted(documents::quoted(path).c_str()), path);
    }
    const std::pair<const char*, const char*> texts[] = {
        {"/a b/c.mp4", "/a"},
        {"  \"/a b\"x", "/a b"},
        {"\"/a &\"b&&\" tail", "/a \"b&"},
        {"\"/never closed", "/never closed"},
        {"\"ends in escape&", "ends in escape"},
        {"  word next", "word"},
        {"", ""},
        {"   ", ""},
    };
    for (const auto& [text, path] : texts) EXPECT_EQ(documents::unquoted(text), path);
}

TEST(PrintableTest, EscapesWhatIsNoXmlCharacterOrNoUtf8) {
    const std::string kept =
        "a\t\r\n<&\"\\ \x7F \xC3\xB6 \xE4\xBA\xAC \xEF\xBF\xBD \xF0\x9F\x8E\xA5 \xF4\x8F\xBF\xBF";
    EXPECT_EQ(documents::printable(kept), kept);
    const std::pair<std::string, std::string> cases[] = {
        {std::string("\0\x01\x1F", 3), "\\x00\\x01\\x1F"},
        {"\xA9nam", "\\xA9nam"},                                         // a byte of no character
        {"\xE4\xBA", "\\xE4\\xBA"},                                      // cut off
        {"\xC3\xC3\xB6", "\\xC3\xC3\xB6"},                               // the next character is kept
        {"\xC0\xAF", "\\xC0\\xAF"},                                      // longer than necessary
        {"\xED\xA0\x80", "\\xED\\xA0\\x80"},                             // a surrogate
        {"\xEF\xBF\xBE\xEF\xBF\xBF", "\\xEF\\xBF\\xBE\\xEF\\xBF\\xBF"},  // U+FFFE, U+FFFF
        {"\xF4\x90\x80\x80", "\\xF4\\x90\\x80\\x80"},                    // above U+10FFFF
    };
    for (const auto& [text, expected] : cases) EXPECT_EQ(documents::printable(text), expected);
}
