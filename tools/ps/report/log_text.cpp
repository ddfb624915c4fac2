#include "tools/ps/report/log_text.h"

#include <algorithm>
#include <array>
#include <boost/uuid/uuid_io.hpp>
#include <charconv>

#include "tools/reader/packet_time.h"
#include "xml/attributes.h"

namespace ps_tool {
namespace {

using Kind = LogText::Kind;

constexpr std::string_view kPrefix = "NorVane - ";
constexpr std::string_view kError = "error ";  // a reason that a code follows

/// Where the path of the clip is. Texts about a recording do not contain it.
enum class Clip : std::uint8_t { kNowhere, kAfterBegin, kAfterWords };

/// A form of texts, as engine/log_lines.cpp, convert/mp4_parser.cpp and host/tal_server_impl.cpp write them.
struct Form {
    std::string_view begin;  // without kPrefix
    std::string_view words;  // occur after the begin
    Kind kind = Kind::kOther;
    std::string_view reason = {};
    Clip clip = Clip::kNowhere;
};

constexpr std::array kEngineForms = {
    Form{"creating operation id ", "", Kind::kCreated},
    Form{"disconnect during ", "", Kind::kInterrupted},
    Form{"requesting device storage info for ", "", Kind::kRequested},
    Form{"requesting recordings from ", "", Kind::kRequested},
    Form{"requesting disk space reservation of ", "", Kind::kReserved},
    Form{"retrieve operation ", " completed successfully.", Kind::kDone},
    Form{"retrieve operation ", " completed with error ", Kind::kFailed, kError},
    Form{"no answer about operation ", "", Kind::kFailed, "no answer"},
    Form{"unusable answer about operation ", "", Kind::kFailed, "unusable answer"},
    Form{"operation ", " exceeded the retry limit.", Kind::kGivenUp, "retry limit exceeded"},
    Form{"operation ", " is dropped: ", Kind::kGivenUp, "retry limit exceeded"},
    Form{"operation ", " ends, because device ", Kind::kFailed, "device removed"},
    Form{"all operations completed successfully.", "", Kind::kAllDone},
    Form{"Error '", "' while converting ", Kind::kClipRefused, "Error while converting", Clip::kAfterWords},
    Form{"'", "' is a recording of another time.", Kind::kClipRefused, "Recording of another time exists"},
};

constexpr std::array kConverterForms = {
    Form{"Parsing mp4 container - ", "", Kind::kClipOpened, "", Clip::kAfterBegin},
    Form{"Unsupported file format - ", "", Kind::kClipRefused, "Unsupported file format", Clip::kAfterBegin},
    Form{"No sample tables found in mp4 container.", "", Kind::kClipRefused,
         "No sample tables found in mp4 container"},
    Form{"No H.264 video in mp4 container - ", " contains ", Kind::kClipRefused,
         "No H.264 video in mp4 container", Clip::kAfterBegin},
    Form{"Error opening ps file - ", "", Kind::kClipRefused, "Error opening ps file"},
    Form{"Did not receive mandatory sample tables.", "", Kind::kClipRefused,
         "Did not receive mandatory sample tables. Aborting parsing of mp4 container"},
    Form{"Bad frame size.", "", Kind::kClipRefused, "Bad frame size. Aborting parsing of mp4 container"},
    Form{"Error occured while writing frame to ps file - ", "", Kind::kClipRefused,
         "Error occured while writing frame to ps file"},
    Form{"Opened (and PSI) ", ""},
    Form{"Processing mp4 container stream - ", ""},
    Form{"Unknown box type : ", ""},
    Form{"Error deleting file - ", ""},
    Form{"Error '", "' trying to create directory '"},
    Form{"Decrement reference event returned : ", ""},
};

/// Reads a text from its begin.
class Scanner {
  public:
    explicit Scanner(std::string_view text) : rest_(text) {}

    bool skip(std::string_view words) {
        if (!rest_.starts_with(words)) return false;
        rest_.remove_prefix(words.size());
        return true;
    }
    /// Skips everything up to and including the words.
    bool skip_past(std::string_view words) {
        const std::size_t at = rest_.find(words);
        if (at != std::string_view::npos) rest_.remove_prefix(at + words.size());
        return at != std::string_view::npos;
    }
    std::string_view word() {
        const std::string_view found = rest_.substr(0, rest_.find(' '));
        rest_.remove_prefix(found.size());
        return found;
    }
    std::optional<norvane::DeviceKey> device() {
        norvane::DeviceKey device;
        if (!number(device.devices_id) || !skip(" ") || !number(device.number)) return std::nullopt;
        return device;
    }
    /// In ms; 0 for a time before 1970.
    std::int64_t time() { return reader::parse_instant(word()).value_or(0); }

  private:
    template <typename Integer>
    bool number(Integer& value) {
        const auto [end, error] = std::from_chars(rest_.data(), rest_.data() + rest_.size(), value);
        if (error != std::errc()) return false;
        rest_.remove_prefix(static_cast<std::size_t>(end - rest_.data()));
        return true;
    }

    std::string_view rest_;
};

void add_operation(LogText& text, std::string_view line) {
    Scanner in(line);
    if (in.skip_past("operation ")) {
        (void)in.skip("id ");
        text.guid = canonical_guid(in.word());
    }
    if (in.skip_past("device ")) text.device = in.device();
}

void add_request(LogText& text, std::string_view line, const Form& form) {
    Scanner in(line);
    (void)in.skip(form.begin);
    text.device = in.device();
    if (in.skip(" from ") || in.skip(" gap start time")) text.requested.begin = in.time();
    if (in.skip(" to ") || in.skip(" gap end time ")) text.requested.end = in.time();
}

std::string clip_in(std::string_view line, const Form& form) {
    line.remove_prefix(form.begin.size());
    const std::size_t words = line.find(form.words);
    if (form.clip == Clip::kAfterWords) line.remove_prefix(words + form.words.size());
    if (form.clip == Clip::kAfterBegin && words != 0) return std::string(line.substr(0, words));
    while (line.ends_with('\n') || line.ends_with('.')) line.remove_suffix(1);
    return std::string(line);
}

std::string error_code(std::string_view line, const Form& form) {
    const std::string_view code = line.substr(line.find(form.words) + form.words.size());
    return std::string(code.substr(0, code.find_first_not_of("-0123456789")));
}

LogText text_of(std::string_view line, const Form& form) {
    LogText text{.kind = form.kind, .reason = std::string(form.reason)};
    if (form.clip != Clip::kNowhere) text.clip = clip_in(line, form);
    if (form.kind == Kind::kRequested)
        add_request(text, line, form);
    else
        add_operation(text, line);
    if (form.reason == kError) text.reason += error_code(line, form);
    return text;
}

template <typename Forms>
std::optional<LogText> first_of(const Forms& forms, std::string_view line) {
    const auto form = std::ranges::find_if(forms, [line](const Form& one) {
        return line.starts_with(one.begin) &&
               line.substr(one.begin.size()).find(one.words) != std::string_view::npos;
    });
    return form == forms.end() ? std::nullopt : std::optional(text_of(line, *form));
}

}  // namespace

std::string canonical_guid(std::string_view text) {
    const auto guid = xml::parse_guid(text);
    return guid ? boost::uuids::to_string(*guid) : "";
}

/// A host may put a name with the form of the prefix before the texts.
std::optional<LogText> parse_log_text(std::string_view text) {
    const bool prefixed = text.starts_with(kPrefix);
    while (text.starts_with(kPrefix)) text.remove_prefix(kPrefix.size());
    auto found = prefixed ? first_of(kEngineForms, text) : std::nullopt;
    if (!found) found = first_of(kConverterForms, text);
    return found || !prefixed ? found : LogText{};
}

std::optional<std::string_view> find_log_text(std::string_view line) {
    std::size_t at = line.find(kPrefix);
    for (auto form = kConverterForms.begin(); at == std::string_view::npos && form != kConverterForms.end();
         ++form) {
        at = line.find(form->begin);
    }
    return at == std::string_view::npos ? std::nullopt : std::optional(line.substr(at));
}

}  // namespace ps_tool
