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
    kReturn,             // returns a number from an entry point
    kThrow,              // throws an exception from an entry point
    kSlow,               // needs three seconds for an entry point
    kExit,               // ends the process in an entry point
    kPrint,              // prints a text in Open; offset: the stream, 1 or 2
    kWriteInput,         // flips a byte of an entry point's input record
    kWriteLate,          // writes to an output record after the call
    kReadLate,           // reads the input record of Write after the call
    kReadUnused,         // reads the first record of Open
    kWriteText,          // flips a byte of a lent text; -1: before it; a large offset: after it
    kWriteReturned,      // writes to a text after its return
    kReadText,           // reads a refused text, a text of any length, or a byte too many
    kFlipReply,          // flips a byte of the reply record
    kFlipRelease,        // flips a byte of the request that returns a text
    kAtLibrary,          // crashes or ends the process at the start or end of the library, or prints
    kSetting,            // changes a setting of the process in Open
    kLeak,               // keeps a thread, a descriptor or memory at an entry point
    kBusy,               // a thread that does not sleep, or sleeps a millisecond at a time
    kEarlyEnd,           // returns from the main loop, or from Close, while the other part goes on
    kSendIn,             // sends a document at the end of an entry point
    kSendBefore,         // sends a document at the start of an entry point
    kFirstCallback,      // keeps the callback of the first Load
    kLock,               // locks a mutex in the callback and in Write
    kOneThread,          // refuses Write on other threads than that of Open
    kSecondLoop,         // a second main loop does not return
    kLogFailure,         // logs what the callback returns for a document
    kStateInPlace,       // writes into the existing state file
    kStateUnflushed,     // replaces the state file without flushing it
    kMode,               // changes the mode of a file
    kLeaveFile,          // leaves a file in the current directory
    kMove,               // stores a recording under another path
    kCutLong,            // cuts an index off after a number of frames
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
    // Records.
    Fault{"module info byte before its record", Kind::kFlipOutput, "Load", "", -1, "records.usual-calls"},
    Fault{"half word as word", Kind::kFlipOutput, "Load", "", 58, "records.usual-calls"},
    Fault{"last word of module info", Kind::kFlipOutput, "Load", "", 63, "records.usual-calls"},
    Fault{"module info past its record", Kind::kFlipOutput, "Load", "", 64, "records.usual-calls"},
    Fault{"open result before its status", Kind::kFlipOutput, "Open", "", 7, "records.usual-calls"},
    Fault{"read past its record", Kind::kFlipOutput, "Read", "", 28, "records.usual-calls"},
    Fault{"write status", Kind::kFlipOutput, "Write", "", 24, "records.usual-calls"},
    Fault{"own message answered", Kind::kFlipOutput, "Write", "", 0, "records.write-of-its-own"},
    Fault{"ioctl count", Kind::kFlipOutput, "IOCTL", "", 16, "records.ioctl-codes"},
    Fault{"ioctl past its record", Kind::kFlipOutput, "IOCTL", "", 20, "records.ioctl-codes"},
    Fault{"input of Load written", Kind::kWriteInput, "Load", "", 0, "records.usual-calls"},
    Fault{"input of Write written", Kind::kWriteInput, "Write", "", 13, "records.usual-calls"},
    Fault{"input of IOCTL written", Kind::kWriteInput, "IOCTL", "", 28, "records.usual-calls"},
    Fault{"output of Load written later", Kind::kWriteLate, "Load", "", 12, "records.usual-calls"},
    Fault{"output of Write written later", Kind::kWriteLate, "Write", "", 28, "records.usual-calls"},
    Fault{"input of Write read later", Kind::kReadLate, "Write", "", 0, "records.usual-calls"},
    Fault{"unused record read", Kind::kReadUnused, "Open", "", 0, "records.unused"},
    Fault{"Load returns 1", Kind::kReturn, "Load", "", 1, "records.usual-calls"},
    Fault{"Open returns 1", Kind::kReturn, "Open", "", 1, "records.usual-calls"},
    Fault{"Close returns -1", Kind::kReturn, "Close", "", -1, "records.usual-calls"},
    Fault{"Unload returns 1", Kind::kReturn, "Unload", "", 1, "records.usual-calls"},
    Fault{"Read returns 1", Kind::kReturn, "Read", "", 1, "records.usual-calls"},
    Fault{"Seek returns -1", Kind::kReturn, "Seek", "", -1, "records.usual-calls"},
    Fault{"Write returns 1", Kind::kReturn, "Write", "", 1, "records.usual-calls"},
    Fault{"IOCTL returns 1", Kind::kReturn, "IOCTL", "", 1, "records.ioctl-codes"},
    Fault{"request word 4", Kind::kFlipRequest, "", "", 4, "records.usual-calls"},
    Fault{"request word 12", Kind::kFlipRequest, "", "", 12, "records.usual-calls"},
    Fault{"request word 28", Kind::kFlipRequest, "", "", 28, "records.usual-calls"},
    Fault{"release with a length", Kind::kFlipRelease, "", "", 8, "records.usual-calls"},
    Fault{"release with the word of documents", Kind::kFlipRelease, "", "", 36, "records.usual-calls"},
    Fault{"reply size", Kind::kFlipReply, "", "", 0, "records.usual-calls"},
    Fault{"reply word", Kind::kFlipReply, "", "", 4, "records.usual-calls"},
    Fault{"reply result not 0", Kind::kFlipReply, "", "", 8, "records.usual-calls"},
    // Texts.
    Fault{"lent text changed", Kind::kWriteText, "", "", 2, "buffers.in-order"},
    Fault{"byte before a lent text", Kind::kWriteText, "", "", -1, "buffers.in-order"},
    Fault{"NUL after a lent text", Kind::kWriteText, "", "", 1000, "buffers.in-order"},
    Fault{"returned text written", Kind::kWriteReturned, "", "", 0, "buffers.in-order"},
    Fault{"refused text read", Kind::kReadText, "refused", "", 0, "records.write-refused"},
    Fault{"long text read", Kind::kReadText, "long", "", 0, "buffers.length"},
    Fault{"text read past its end", Kind::kReadText, "past", "", 0, "buffers.without-nul"},
    Fault{"text kept by Unload", Kind::kKeepMessage, "<Plain/>", "", 0, "order.unload-open"},
    // Calls and threads.
    Fault{"main loop returns at once", Kind::kEarlyEnd, "IOCTL", "", 0, "records.usual-calls"},
    Fault{"Close does not wait", Kind::kEarlyEnd, "Close", "", 0, "callback.one-thread"},
    Fault{"Close on a thread beside the main loop", Kind::kSendBefore, "Close", "", 0, "callback.one-thread"},
    Fault{"document after Close", Kind::kSendIn, "Unload", "", 0, "documents.start-and-end"},
    Fault{"a document too many at the end", Kind::kSendIn, "Close", "", 0, "documents.start-and-end"},
    Fault{"second Open registers", Kind::kSendIn, "Open", "", 0, "order.open-twice"},
    Fault{"second Load without effect", Kind::kFirstCallback, "", "", 0, "order.load-again"},
    Fault{"callback kept while running", Kind::kFirstCallback, "", "", 0, "order.load-while-running"},
    Fault{"Write waits for the callback", Kind::kLock, "other", "", 0, "threads.write-at-once"},
    Fault{"Write waits for itself", Kind::kLock, "same", "", 0, "callback.calls-inside"},
    Fault{"Write on one thread only", Kind::kOneThread, "", "", 0, "threads.writers"},
    Fault{"second main loop waits", Kind::kSecondLoop, "", "", 0, "order.second-main-loop"},
    Fault{"failure of a document logged", Kind::kLogFailure, "", "", 0, "callback.result"},
    Fault{"Unload does not return", Kind::kHang, "Unload", "", 0, "documents.start-and-end"},
    Fault{"Write does not return", Kind::kHang, "Write", "", 0, "records.usual-calls"},
    Fault{"slow Unload", Kind::kSlow, "Unload", "", 0, "documents.start-and-end"},
    Fault{"exception from Close", Kind::kThrow, "Close", "", 0, "documents.start-and-end"},
    Fault{"exception from the main loop", Kind::kThrow, "IOCTL", "", 0, "records.ioctl-codes"},
    Fault{"process ended in Close", Kind::kExit, "Close", "", 0, "documents.start-and-end"},
    // The library and its process.
    Fault{"crash at the start of the library", Kind::kAtLibrary, "start", "crash", 0, "module.load"},
    Fault{"crash at the end of the library", Kind::kAtLibrary, "end", "crash", 0, "module.load"},
    Fault{"end of the process at the start", Kind::kAtLibrary, "start", "exit", 0, "module.load"},
    Fault{"end of the process at the end", Kind::kAtLibrary, "end", "exit", 0, "module.load"},
    Fault{"printed at the end", Kind::kAtLibrary, "end", "print", 0, "module.load"},
    Fault{"printed", Kind::kPrint, "", "norvanepi is open", 1, "documents.start-and-end"},
    Fault{"printed as error", Kind::kPrint, "", "norvanepi is open", 2, "documents.start-and-end"},
    Fault{"current directory", Kind::kSetting, "directory", "", 0, "documents.start-and-end"},
    Fault{"rounding mode", Kind::kSetting, "rounding", "", 0, "documents.start-and-end"},
    Fault{"file left", Kind::kLeaveFile, "norvanepi.log", "", 0, "documents.start-and-end"},
    // Content.
    Fault{"information logged as error", Kind::kReplaceInDocument,
          R"(level="25">NorVane - operation starting)", R"(level="75">NorVane - operation starting)", 0,
          "documents.one-retrieval"},
    Fault{"gigabytes cut to 10 bits", Kind::kReplaceInDocument, R"(ReserveGB="1172")", R"(ReserveGB="148")",
          0, "documents.gigabytes"},
    Fault{"name outside ASCII mangled", Kind::kReplaceInDocument,
          "h\xC3\xB6"
          "fe",
          "h??fe", 0, "documents.paths"},
    Fault{"long document ignored", Kind::kReplaceInMessage, R"(NorVaneSupported="1"/></Devices>)",
          R"(/></Devices>)", 0, "documents.large"},
    Fault{"index cut after 3,000 frames", Kind::kCutLong, "", "", 3000, "conversion.many-frames"},
#ifndef _WIN32
    Fault{"an hour off after the clock change", Kind::kMove, "/03/11/03/", "/03/11/02/", 0,
          "conversion.clock-change"},
    Fault{"path in UTC", Kind::kMove, "/06/30/20/", "/07/01/00/", 0, "conversion.clock-change"},
    Fault{"locale", Kind::kSetting, "locale", "", 0, "documents.start-and-end"},
    Fault{"umask", Kind::kSetting, "umask", "", 0, "documents.start-and-end"},
    Fault{"signal ignored", Kind::kSetting, "signal", "", 0, "documents.start-and-end"},
    Fault{"signal blocked", Kind::kSetting, "mask", "", 0, "documents.start-and-end"},
    Fault{"environment", Kind::kSetting, "environment", "", 0, "documents.start-and-end"},
    Fault{"time zone", Kind::kSetting, "TZ", "", 0, "documents.start-and-end"},
    Fault{"limit of descriptors", Kind::kSetting, "limit", "", 0, "documents.start-and-end"},
    Fault{"thread left", Kind::kLeak, "Load", "thread", 0, "documents.start-and-end"},
    Fault{"descriptor left by Open", Kind::kLeak, "Open", "descriptor", 0, "documents.start-and-end"},
    Fault{"descriptor left by Write", Kind::kLeak, "Write", "descriptor", 0, "process.messages"},
    // Kilobytes a call. A large number, because the limit is higher with a sanitizer, which keeps freed
    // memory.
    Fault{"memory left by Write", Kind::kLeak, "Write", "memory", 80, "process.messages"},
    Fault{"memory left by Open", Kind::kLeak, "Open", "memory", 5'000, "process.restarts"},
    Fault{"memory left by Load", Kind::kLeak, "Load", "memory", 5'000, "process.restarts"},
    Fault{"busy while idle", Kind::kBusy, "", "", 0, "process.idle"},
    Fault{"polls while idle", Kind::kBusy, "", "", 1, "process.idle"},
    Fault{"state written in place", Kind::kStateInPlace, "", "", 0, "files.state-replaced"},
    Fault{"state not flushed", Kind::kStateUnflushed, "", "", 0, "files.state-flushed"},
    Fault{"state readable by its owner only", Kind::kMode, "state", "", 0600, "files.permissions"},
    Fault{"recording writable by all", Kind::kMode, "data", "", 0666, "files.permissions"},
    Fault{"index executable", Kind::kMode, "index", "", 0755, "files.permissions"},
#endif
};

}  // namespace variants
