#pragma once

// The faults of the module's variants. Each is a mistake that a build could contain, with the case of
// `validate` that must find it.

#include <array>
#include <cstdint>
#include <string_view>

namespace variants {

enum class Kind {
    kNone,               // forwards every call unchanged
    kFlipOutput,         // flips a byte of an entry point's output record
    kClearInput,         // clears a byte of an entry point's input record
    kFlipRequest,        // flips a byte of the request with this text
    kReplaceInDocument,  // replaces a text in documents
    kReplaceInMessage,   // replaces a text in messages to the module
    kDropDocument,       // drops documents with this text
    kRepeat,             // sends documents with this text twice; without a text, returns every message twice
    kDelayDocument,      // sends documents with this text after the next one
    kSendOnOtherThread,  // sends documents with this text on a thread of its own
    kUncountedNul,       // does not count the NUL in a document's length
    kKeepMessage,        // does not return messages with this text
    kReturnCopy,         // returns messages under another address
    kFlipData,           // flips a byte of the recording; a negative offset counts from the end
    kFlipIndex,          // flips a byte of the index
    kCutIndex,           // cuts bytes off the end of the index
    kKeepClip,           // does not remove the clip
    kReplaceInState,     // replaces a text in the state file after Close
    kNoState,            // writes no state file
    kKeepState,          // does not change the state file in Open
    kCrash,              // crashes at messages with this text
    kHang,               // does not return from an entry point
};

struct Fault {
    std::string_view name;
    Kind kind;
    std::string_view where;  // an entry point, or a text to find
    std::string_view to;     // the replacement
    std::int64_t offset;
    std::string_view found_by;
};

inline constexpr std::array kFaults = {
    Fault{"module info word", Kind::kFlipOutput, "Load", "", 20, "records.usual-calls"},
    Fault{"module info reserved byte", Kind::kFlipOutput, "Load", "", 44, "records.usual-calls"},
    Fault{"open status as 32 bits", Kind::kFlipOutput, "Open", "", 12, "records.usual-calls"},
    Fault{"close status", Kind::kFlipOutput, "Close", "", 8, "records.usual-calls"},
    Fault{"close writes past its record", Kind::kFlipOutput, "Close", "", 12, "records.usual-calls"},
    Fault{"unload writes beside", Kind::kFlipOutput, "Unload", "", 4, "records.usual-calls"},
    Fault{"read count", Kind::kFlipOutput, "Read", "", 24, "records.usual-calls"},
    Fault{"seek succeeds", Kind::kFlipOutput, "Seek", "", 8, "records.usual-calls"},
    Fault{"write count", Kind::kFlipOutput, "Write", "", 28, "records.usual-calls"},
    Fault{"ioctl status of the wrong sign", Kind::kFlipOutput, "IOCTL", "", 12, "records.ioctl-codes"},
    Fault{"refusal flag not read", Kind::kClearInput, "Write", "", 12, "records.write-refused"},
    Fault{"own messages queued", Kind::kClearInput, "Write", "", 34, "records.write-of-its-own"},
    Fault{"request size", Kind::kFlipRequest, "", "", 0, "records.usual-calls"},
    Fault{"request without module id", Kind::kFlipRequest, "", "", 26, "records.usual-calls"},
    Fault{"document word", Kind::kFlipRequest, "", "", 39, "records.usual-calls"},
    Fault{"request tail not cleared", Kind::kFlipRequest, "", "", 191, "records.usual-calls"},
    Fault{"status in the class of logs", Kind::kFlipRequest, "NorVane ID", "", 32,
          "conversation.nothing-to-fetch"},
    Fault{"length without NUL", Kind::kUncountedNul, "<Pavo", "", 0, "documents.start-and-end"},
    Fault{"log on a thread of its own", Kind::kSendOnOtherThread, "operation starting", "", 0,
          "documents.one-retrieval"},
    Fault{"text kept", Kind::kKeepMessage, "<Pavo>", "", 0, "buffers.in-order"},
    Fault{"malformed text kept", Kind::kKeepMessage, "no document", "", 0, "buffers.not-well-formed"},
    Fault{"queued text kept at the end", Kind::kKeepMessage, "Unread", "", 0, "buffers.at-close"},
    Fault{"text of a failure kept", Kind::kKeepMessage, R"(RetrievalStatus="4")", "", 0,
          "conversation.fails-twice"},
    Fault{"text returned twice", Kind::kRepeat, "", "", 0, "buffers.in-order"},
    Fault{"copy returned", Kind::kReturnCopy, "", "", 0, "buffers.in-order"},
    Fault{"failed release not logged", Kind::kDropDocument, "Decrement reference", "", 0,
          "buffers.release-fails"},
    Fault{"attribute order", Kind::kReplaceInDocument, R"(Name="norvanepi" ID="5308416")",
          R"(ID="5308416" Name="norvanepi")", 0, "documents.start-and-end"},
    Fault{"features in the other spelling", Kind::kReplaceInDocument, "<Norvane ", "<NorVane ", 0,
          "documents.start-and-end"},
    Fault{"no declaration", Kind::kReplaceInDocument,
          R"(<?xml version="1.0" encoding="UTF-8"?><Pavo Delta="1")", R"(<Pavo Delta="1")", 0,
          "documents.one-retrieval"},
    Fault{"storage under the id of the module", Kind::kReplaceInDocument, R"(Storage ID="327680")",
          R"(Storage ID="5308416")", 0, "documents.one-retrieval"},
    Fault{"identifier unsigned", Kind::kReplaceInDocument, R"(Devices ID="-1")", R"(Devices ID="4294967295")",
          0, "documents.numbers"},
    Fault{"number signed", Kind::kReplaceInDocument, R"(Number="4294967295")", R"(Number="-1")", 0,
          "documents.numbers"},
    Fault{"gigabytes rounded up", Kind::kReplaceInDocument, R"(ReserveGB="1")", R"(ReserveGB="2")", 0,
          "documents.gigabytes"},
    Fault{"path not quoted", Kind::kReplaceInDocument, R"(TmpFileDir="&quot;)", R"(TmpFileDir=")", 0,
          "documents.paths"},
    Fault{"ampersand not escaped", Kind::kReplaceInDocument, "a&amp;&amp;b", "a&amp;b", 0, "documents.paths"},
    Fault{"a blank too many", Kind::kReplaceInDocument, "gap start time", "gap start time ", 0,
          "documents.one-retrieval"},
    Fault{"error logged as information", Kind::kReplaceInDocument, R"(level="75">NorVane - operation)",
          R"(level="25">NorVane - operation)", 0, "conversation.unknown"},
    Fault{"space not released", Kind::kDropDocument, R"(Command="3")", "", 0,
          "conversation.nothing-to-fetch"},
    Fault{"status 2 twice", Kind::kRepeat, R"(Status="2")", "", 0, "documents.one-retrieval"},
    Fault{"request before its log line", Kind::kDelayDocument, "requesting device storage", "", 0,
          "documents.one-retrieval"},
    Fault{"retry from the old start", Kind::kReplaceInMessage, "FailedClipStartTime", "FailedClipStart", 0,
          "conversation.second-try"},
    Fault{"failure read as done", Kind::kReplaceInMessage, R"(RetrievalStatus="4")", R"(RetrievalStatus="3")",
          0, "conversation.fails-twice"},
    Fault{"second loss counts", Kind::kReplaceInMessage, R"(Connected="0" Time="2051222500")",
          R"(Connected="1" Time="2051222500")", 0, "conversation.lost-twice"},
    Fault{"only 0 is lost", Kind::kReplaceInMessage, R"(Connected="2")", R"(Connected="1")", 0,
          "conversation.unusual-forms"},
    Fault{"channel number not compared", Kind::kReplaceInMessage, R"(Number="5")", R"(Number="0")", 0,
          "conversation.unusual-forms"},
    Fault{"support by prefix", Kind::kReplaceInMessage, R"(NorVaneSupported="11")", R"(NorVaneSupported="1")",
          0, "conversation.not-supported"},
    Fault{"removal ignored", Kind::kReplaceInMessage, R"(ipAddress="")", R"(address="")", 0,
          "conversation.removed"},
    Fault{"second encoder not ignored", Kind::kReplaceInMessage, R"(Encoder Number="1")",
          R"(Encoder Number="0")", 0, "conversation.without-effect"},
    Fault{"attempts not saved", Kind::kReplaceInState, R"(Attempts="1")", R"(Attempts="0")", 0,
          "state.saved-in-order"},
    Fault{"times saved in milliseconds", Kind::kReplaceInState, R"(StartTime=")", R"(StartTime="1)", 0,
          "state.saved-in-order"},
    Fault{"state not emptied", Kind::kKeepState, "", "", 0, "state.restart"},
    Fault{"state not written", Kind::kNoState, "", "", 0, "order.without-main-loop"},
    Fault{"load error not logged", Kind::kDropDocument, "invalid or missing plug-in id", "", 0,
          "state.bad-identifier"},
    Fault{"pack header", Kind::kFlipData, "", "", 9, "conversion.varied"},
    Fault{"height one unit less", Kind::kFlipData, "", "", 16 + 106 + 5, "conversion.varied"},
    Fault{"packet length does not wrap", Kind::kFlipData, "", "", 1978 + 4, "conversion.varied"},
    Fault{"size of the previous packet", Kind::kFlipData, "", "", 1978 + 96 + 23, "conversion.varied"},
    Fault{"padding not zero", Kind::kFlipData, "", "", -1, "conversion.slow"},
    Fault{"index count", Kind::kFlipIndex, "", "", 20, "conversion.varied"},
    Fault{"link to the next entry", Kind::kFlipIndex, "", "", 1088 + 20, "conversion.varied"},
    Fault{"distance from the key frame", Kind::kFlipIndex, "", "", 1088 + 32 + 24, "conversion.varied"},
    Fault{"size bit of a long packet", Kind::kFlipIndex, "", "", 1088 + 6 * 32 + 26, "conversion.varied"},
    Fault{"kind of the recording", Kind::kFlipIndex, "", "", 64 + 25, "conversion.type-3"},
    Fault{"last span missing", Kind::kCutIndex, "", "", 16, "conversion.midnight"},
    Fault{"clip not removed", Kind::kKeepClip, "", "", 0, "conversion.replaced"},
    Fault{"error text corrected", Kind::kReplaceInDocument, "Error occured while", "Error occurred while", 0,
          "conversion.too-long"},
    Fault{"unknown box not logged", Kind::kDropDocument, "Unknown box type : abcd", "", 0,
          "conversion.unknown-box"},
    Fault{"crashes at a malformed text", Kind::kCrash, "no document", "", 0, "buffers.not-well-formed"},
    Fault{"does not return from Close", Kind::kHang, "Close", "", 0, "documents.start-and-end"},
};

}  // namespace variants
