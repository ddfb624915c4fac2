#pragma once

// What a variant of the module does wrong, each a mistake that a build could make, and the case of the
// conformance suite that has to find it.

#include <array>
#include <cstdint>
#include <string_view>

namespace variants {

enum class Kind {
    kNone,      // the layer alone
    kOutput,    // a byte of what an entry point (where) writes is flipped
    kInput,     // a byte of what an entry point reads is set to `to`
    kRequest,   // a byte of a request with that text is flipped
    kSays,      // a text in a document is replaced
    kHears,     // a text in a message is replaced before the module sees it
    kDrops,     // a document with that text is lost
    kDoubles,   // a document with that text, or a text given back, comes twice
    kDelays,    // a document with that text comes behind the next one
    kThread,    // a document with that text comes on a thread of its own
    kNoNul,     // a document's length leaves its NUL out
    kKeeps,     // a message with that text is not given back
    kMoves,     // a message is given back under another address
    kData,      // a byte of the recording is flipped; counted from the end when negative
    kIndex,     // the same of its index
    kCutIndex,  // bytes are missing at the end of the index
    kClip,      // the clip is not removed
    kState,     // a text in the state file is replaced after Close
    kNoState,   // no state file is written
    kUnread,    // the state file is left as it was by Open
    kCrash,     // crashes in an entry point
    kHang,      // does not return from one
};

struct Fault {
    std::string_view name;
    Kind kind;
    std::string_view where;  // an entry point, or the text to look for
    std::string_view to;     // what stands there instead
    std::int64_t offset;
    std::string_view found_by;
};

inline constexpr std::array kFaults = {
    Fault{"module info word", Kind::kOutput, "Load", "", 20, "records.usual-calls"},
    Fault{"module info reserved byte", Kind::kOutput, "Load", "", 44, "records.usual-calls"},
    Fault{"open status as 32 bits", Kind::kOutput, "Open", "", 12, "records.usual-calls"},
    Fault{"close status", Kind::kOutput, "Close", "", 8, "records.usual-calls"},
    Fault{"unload writes beside", Kind::kOutput, "Unload", "", 4, "records.usual-calls"},
    Fault{"read count", Kind::kOutput, "Read", "", 24, "records.usual-calls"},
    Fault{"seek succeeds", Kind::kOutput, "Seek", "", 8, "records.usual-calls"},
    Fault{"write count", Kind::kOutput, "Write", "", 28, "records.usual-calls"},
    Fault{"ioctl status of the wrong sign", Kind::kOutput, "IOCTL", "", 12, "records.ioctl-codes"},
    Fault{"refusal flag not read", Kind::kInput, "Write", "", 12, "records.write-refused"},
    Fault{"own messages queued", Kind::kInput, "Write", "", 34, "records.write-of-its-own"},
    Fault{"request size", Kind::kRequest, "", "", 0, "records.usual-calls"},
    Fault{"request without module id", Kind::kRequest, "", "", 26, "records.usual-calls"},
    Fault{"document word", Kind::kRequest, "", "", 39, "records.usual-calls"},
    Fault{"request tail not cleared", Kind::kRequest, "", "", 191, "records.usual-calls"},
    Fault{"status in the class of logs", Kind::kRequest, "NorVane ID", "", 32,
          "conversation.nothing-to-fetch"},
    Fault{"length without NUL", Kind::kNoNul, "<Pavo", "", 0, "documents.start-and-end"},
    Fault{"log on a thread of its own", Kind::kThread, "operation starting", "", 0,
          "documents.one-retrieval"},
    Fault{"text kept", Kind::kKeeps, "<Pavo>", "", 0, "buffers.in-order"},
    Fault{"malformed text kept", Kind::kKeeps, "no document", "", 0, "buffers.not-well-formed"},
    Fault{"queued text kept at the end", Kind::kKeeps, "Unread", "", 0, "buffers.at-close"},
    Fault{"text of a failure kept", Kind::kKeeps, R"(RetrievalStatus="4")", "", 0,
          "conversation.fails-twice"},
    Fault{"text given back twice", Kind::kDoubles, "", "", 0, "buffers.in-order"},
    Fault{"copy given back", Kind::kMoves, "", "", 0, "buffers.in-order"},
    Fault{"failed release not logged", Kind::kDrops, "Decrement reference", "", 0, "buffers.release-fails"},
    Fault{"attribute order", Kind::kSays, R"(Name="norvanepi" ID="5308416")",
          R"(ID="5308416" Name="norvanepi")", 0, "documents.start-and-end"},
    Fault{"features in the other spelling", Kind::kSays, "<Norvane ", "<NorVane ", 0,
          "documents.start-and-end"},
    Fault{"no declaration", Kind::kSays, R"(<?xml version="1.0" encoding="UTF-8"?><Pavo Delta="1")",
          R"(<Pavo Delta="1")", 0, "documents.one-retrieval"},
    Fault{"storage under the id of the module", Kind::kSays, R"(Storage ID="327680")",
          R"(Storage ID="5308416")", 0, "documents.one-retrieval"},
    Fault{"identifier unsigned", Kind::kSays, R"(Devices ID="-1")", R"(Devices ID="4294967295")", 0,
          "documents.numbers"},
    Fault{"number signed", Kind::kSays, R"(Number="4294967295")", R"(Number="-1")", 0, "documents.numbers"},
    Fault{"gigabytes rounded up", Kind::kSays, R"(ReserveGB="1")", R"(ReserveGB="2")", 0,
          "documents.gigabytes"},
    Fault{"path not quoted", Kind::kSays, R"(TmpFileDir="&quot;)", R"(TmpFileDir=")", 0, "documents.paths"},
    Fault{"ampersand not escaped", Kind::kSays, "a&amp;&amp;b", "a&amp;b", 0, "documents.paths"},
    Fault{"a blank too many", Kind::kSays, "gap start time", "gap start time ", 0, "documents.one-retrieval"},
    Fault{"error logged as information", Kind::kSays, R"(level="75">NorVane - operation)",
          R"(level="25">NorVane - operation)", 0, "conversation.unknown"},
    Fault{"no release of the space", Kind::kDrops, R"(Command="3")", "", 0, "conversation.nothing-to-fetch"},
    Fault{"status 2 twice", Kind::kDoubles, R"(Status="2")", "", 0, "documents.one-retrieval"},
    Fault{"request in front of its log line", Kind::kDelays, "requesting device storage", "", 0,
          "documents.one-retrieval"},
    Fault{"retry from the old start", Kind::kHears, "FailedClipStartTime", "FailedClipStart", 0,
          "conversation.second-try"},
    Fault{"failure read as done", Kind::kHears, R"(RetrievalStatus="4")", R"(RetrievalStatus="3")", 0,
          "conversation.fails-twice"},
    Fault{"second loss counts", Kind::kHears, R"(Connected="0" Time="2051222500")",
          R"(Connected="1" Time="2051222500")", 0, "conversation.lost-twice"},
    Fault{"only 0 is lost", Kind::kHears, R"(Connected="2")", R"(Connected="1")", 0,
          "conversation.unusual-forms"},
    Fault{"channel number not compared", Kind::kHears, R"(Number="5")", R"(Number="0")", 0,
          "conversation.unusual-forms"},
    Fault{"support by prefix", Kind::kHears, R"(NorVaneSupported="11")", R"(NorVaneSupported="1")", 0,
          "conversation.not-supported"},
    Fault{"removal not heard", Kind::kHears, R"(ipAddress="")", R"(address="")", 0, "conversation.removed"},
    Fault{"second encoder heard", Kind::kHears, R"(Encoder Number="1")", R"(Encoder Number="0")", 0,
          "conversation.without-effect"},
    Fault{"attempts not saved", Kind::kState, R"(Attempts="1")", R"(Attempts="0")", 0,
          "state.saved-in-order"},
    Fault{"times saved in milliseconds", Kind::kState, R"(StartTime=")", R"(StartTime="1)", 0,
          "state.saved-in-order"},
    Fault{"state not emptied", Kind::kUnread, "", "", 0, "state.restart"},
    Fault{"state not written", Kind::kNoState, "", "", 0, "order.without-main-loop"},
    Fault{"load error not told", Kind::kDrops, "invalid or missing plug-in id", "", 0,
          "state.bad-identifier"},
    Fault{"pack header", Kind::kData, "", "", 9, "conversion.varied"},
    Fault{"picture height one unit less", Kind::kData, "", "", 16 + 106 + 5, "conversion.varied"},
    Fault{"packet length does not wrap", Kind::kData, "", "", 1978 + 4, "conversion.varied"},
    Fault{"size of the packet before", Kind::kData, "", "", 1978 + 96 + 23, "conversion.varied"},
    Fault{"padding not zero", Kind::kData, "", "", -1, "conversion.slow"},
    Fault{"index count", Kind::kIndex, "", "", 20, "conversion.varied"},
    Fault{"link to the next entry", Kind::kIndex, "", "", 1088 + 20, "conversion.varied"},
    Fault{"distance from the key picture", Kind::kIndex, "", "", 1088 + 32 + 24, "conversion.varied"},
    Fault{"size bit of a long packet", Kind::kIndex, "", "", 1088 + 6 * 32 + 26, "conversion.varied"},
    Fault{"kind of the recording", Kind::kIndex, "", "", 64 + 25, "conversion.type-3"},
    Fault{"last span missing", Kind::kCutIndex, "", "", 16, "conversion.midnight"},
    Fault{"clip not removed", Kind::kClip, "", "", 0, "conversion.replaced"},
    Fault{"refusal in other words", Kind::kSays, "Error occured while", "Error occurred while", 0,
          "conversion.too-long"},
    Fault{"unknown box not named", Kind::kDrops, "Unknown box type : abcd", "", 0, "conversion.unknown-box"},
    Fault{"crashes when a text is malformed", Kind::kCrash, "no document", "", 0, "buffers.not-well-formed"},
    Fault{"does not come back from Close", Kind::kHang, "Close", "", 0, "documents.start-and-end"},
};

}  // namespace variants
