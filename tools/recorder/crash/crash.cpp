#include "tools/recorder/crash/crash.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <future>
#include <memory>
#include <sstream>
#include <thread>

#include <fmt/format.h>
#include <boost/process/args.hpp>
#include <boost/process/child.hpp>
#include <boost/process/exe.hpp>
#include <boost/process/io.hpp>
#include <boost/process/pipe.hpp>

#include "platform/process.h"
#include "tools/cli/exit_status.h"
#include "tools/cli/json_list.h"
#include "tools/cli/progress_bar.h"
#include "tools/cli/table.h"
#include "tools/host_kit/module_library.h"
#include "tools/recorder/crash/account.h"
#include "tools/recorder/host/module_fault.h"
#include "tools/recorder/host/working_directory.h"
#include "tools/recorder/model/pattern.h"
#include "tools/recorder/model/random.h"
#include "tools/recorder/scenarios/steps.h"

namespace recorder::crash {
namespace {

namespace process = boost::process;
using std::chrono::microseconds, std::chrono::milliseconds;

constexpr std::size_t kMaxEvents = 20'000;  // of a host, in which the wanted moment does not come

/// The module may need a second until it remembers a camera, so that the first host lives for longer.
constexpr milliseconds kUntilKnown{1500};

/// Until the next host starts.
constexpr std::size_t kMaxDowntime = 1200;  // ms

/// When a host is killed: a while after the moment has come for the given time.
struct Kill {
    Moment moment = Moment::kIdle;
    std::size_t occurrence = 0;
    microseconds delay{};
    milliseconds downtime{};
};

Kill next_kill(Random& random) {
    const auto moment = static_cast<Moment>(random.below(kMoments.size()));
    const milliseconds downtime(random.below(kMaxDowntime));
    if (moment == Moment::kIdle) return {moment, 0, milliseconds(random.below(800)), downtime};
    return {moment, 1 + random.below(6), microseconds(random.below(4000)), downtime};
}

/// One profile's hosts, one after the other, in a directory of their own.
class Site {
  public:
    Site(const Options& options, Profile profile)
        : options_(options),
          profile_(profile),
          random_(options.seed),
          directory_(*options.directory / name()) {
        directory_.clear();
        directory_.set_profile(profile);
    }

    /// Counts the kills in `progress`. Throws ModuleFault if a host ends by itself.
    void play(std::atomic<std::size_t>& progress) {
        Kill kill{.delay = kUntilKnown};
        for (std::uint32_t kills = 0; kills < options_.kills; ++kills) {
            run_and_kill(kill);
            kill = next_kill(random_);
            ++progress;
        }
        run_to_the_end();
        sums_ = account_.sums(directory_.output_directory(), end_);
    }

    [[nodiscard]] std::string name() const { return name_of(profile_); }
    [[nodiscard]] const Sums& sums() const { return sums_; }
    [[nodiscard]] const auto& kills() const { return kills_; }

  private:
    process::child start(process::ipstream& events, bool calm) {
        std::vector<std::string> arguments = {kCrashHost, "--out=" + directory_.path().string(),
                                              "--module=" + options_.module.string(),
                                              fmt::format("--patience={}", options_.patience),
                                              fmt::format("--seed={}", random_.below(1U << 31U))};
        if (calm) arguments.emplace_back("--calm");
        return process::child(process::exe = host_kit::own_program().string(), process::args = arguments,
                              process::std_out > events);
    }

    void run_and_kill(const Kill& kill) {
        process::ipstream events;
        process::child host = start(events, false);
        Moment last = Moment::kIdle;
        std::size_t occurrences = 0;
        std::string line;
        for (std::size_t i = 0; occurrences < kill.occurrence && i < kMaxEvents; ++i) {
            if (!std::getline(events, line)) break;
            last = note(line).value_or(last);
            if (line == kMoments.at(static_cast<std::size_t>(kill.moment))) ++occurrences;
        }
        std::this_thread::sleep_for(kill.delay);
        const Seconds now = present();
        const bool was_running = host.running();
        platform::kill_process(host.id());  // after child::terminate, child::wait would not wait
        while (std::getline(events, line)) last = note(line).value_or(last);
        host.wait();
        if (!was_running) throw ModuleFault("the host ended before it was killed");
        account_.host_ends(now);
        std::this_thread::sleep_for(kill.downtime);
        ++kills_.at(static_cast<std::size_t>(kill.moment == Moment::kIdle ? Moment::kIdle : last));
    }

    void run_to_the_end() {
        process::ipstream events;
        process::child host = start(events, true);
        for (std::string line; std::getline(events, line);) (void)note(line);
        host.wait();
        if (host.exit_code() != cli::kSuccess) throw ModuleFault("the last host failed");
        account_.host_ends(end_);
    }

    /// Returns the moment that the line names.
    std::optional<Moment> note(const std::string& line) {
        std::istringstream words(line);
        std::string word;
        words >> word;
        std::size_t camera = 0;
        if (word == kEnd) {
            words >> end_;
        } else if (word == kRecords || word == kMisses) {
            Seconds from = 0;
            words >> camera >> from;
            word == kRecords ? account_.host_records(camera, from) : account_.host_misses(camera, from);
        } else if (const auto found = std::ranges::find(kMoments, word); found != kMoments.end()) {
            return static_cast<Moment>(found - kMoments.begin());
        }
        return std::nullopt;
    }

    Options options_;
    Profile profile_;
    Random random_;
    WorkingDirectory directory_;
    Account account_{kCameras};
    std::array<std::size_t, kMoments.size()> kills_{};  // by moment
    Seconds end_ = 0;
    Sums sums_;
};

double share(const Sums& sums) {
    if (sums.lost == 0) return 100;
    return 100 * static_cast<double>(sums.recovered) / static_cast<double>(sums.lost);
}

std::string seconds_text(std::int64_t duration) {
    return fmt::format("{:.1f} s", static_cast<double>(duration) / 1000);
}

void print_table(const std::vector<std::unique_ptr<Site>>& sites, std::uint32_t kills) {
    using enum cli::Table::Align;
    cli::Table table({{"Profile"},
                      {"Kills", kRight},
                      {"Idle", kRight},
                      {"Request", kRight},
                      {"Conversion", kRight},
                      {"Change", kRight},
                      {"Lost", kRight},
                      {"Recovered", kRight},
                      {"", kRight},
                      {"Not recovered", kRight},
                      {"Faulty files", kRight}});
    for (const auto& site : sites) {
        const Sums& sums = site->sums();
        std::vector<std::string> cells = {site->name(), fmt::format("{}", kills)};
        for (const std::size_t count : site->kills()) cells.push_back(fmt::format("{}", count));
        cells.insert(cells.end(), {seconds_text(sums.lost), seconds_text(sums.recovered),
                                   fmt::format("{:.1f} %", share(sums)), seconds_text(sums.missing()),
                                   fmt::format("{}", sums.faulty_recordings)});
        table.add_row(std::move(cells));
    }
    fmt::print("{}", table.text());
    std::string summary;
    for (const auto& site : sites)
        summary +=
            fmt::format("{} {} {:.1f} %", summary.empty() ? "" : ",", site->name(), share(site->sums()));
    fmt::print("Recovered of what {} kills cost:{}\n", kills, summary);
}

void print_list(const std::vector<std::unique_ptr<Site>>& sites) {
    cli::JsonList list(stdout, "profiles");
    for (const auto& site : sites) {
        const Sums& sums = site->sums();
        cli::Json kills = cli::Json::object();
        for (std::size_t i = 0; i < kMoments.size(); ++i) kills[kMoments.at(i)] = site->kills().at(i);
        list.add({{"profile", site->name()},
                  {"kills", kills},
                  {"lost_ms", sums.lost},
                  {"recovered_ms", sums.recovered},
                  {"not_recovered_ms", sums.missing()},
                  {"faulty_recordings", sums.faulty_recordings}});
    }
    list.finish();
}

/// All profiles at a time, because their hosts mostly wait.
void play(const std::vector<std::unique_ptr<Site>>& sites, std::uint32_t kills) {
    std::atomic<std::size_t> progress = 0;
    std::vector<std::future<void>> running;
    running.reserve(sites.size());
    for (const auto& site : sites)
        running.push_back(std::async(std::launch::async, [&] { site->play(progress); }));
    cli::ProgressBar bar(stderr);
    const double all = static_cast<double>(kills) * static_cast<double>(sites.size());
    for (auto& each : running) {
        while (each.wait_for(milliseconds(200)) != std::future_status::ready)
            bar.show("killing hosts", static_cast<double>(progress) / all);
    }
    bar.clear();
    for (auto& each : running) each.get();
}

}  // namespace

Camera camera(std::size_t number) {
    return make_camera(static_cast<std::uint32_t>(number), fmt::format("Camera {}", number + 1));
}

int run(const Options& options) {
    std::vector<Profile> profiles = {Profile::kDefault, Profile::kSafe};
    if (options.profile) profiles = {*options.profile};
    const WorkingDirectory directory(options.directory);
    Options own = options;
    own.directory = directory.path();
    std::vector<std::unique_ptr<Site>> sites;
    sites.reserve(profiles.size());
    for (const Profile profile : profiles) sites.push_back(std::make_unique<Site>(own, profile));
    try {
        play(sites, options.kills);
    } catch (const ModuleFault& fault) {
        cli::print_error(kProgram, fault.what());
        return cli::kFailure;
    }
    options.json ? print_list(sites) : print_table(sites, options.kills);
    const bool all_recovered = std::ranges::all_of(sites, [](const auto& site) {
        return site->name() != name_of(Profile::kSafe) || site->sums().missing() == 0;
    });
    return all_recovered ? cli::kSuccess : cli::kFailure;
}

}  // namespace recorder::crash
