#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "tools/host_kit/callback.h"
#include "tools/host_kit/lent_buffers.h"
#include "tools/host_kit/module.h"
#include "tools/recorder/host/checked_calls.h"
#include "tools/recorder/validate/case_fixture.h"

namespace recorder::validate {

/// The module without the simulator: the case itself makes each call. Checks the records, the lent texts and
/// the threads of the callback, but no document. Only one exists at a time.
class PlainModule {
  public:
    explicit PlainModule(const CaseFixture& fixture);
    PlainModule(const PlainModule&) = delete;
    PlainModule& operator=(const PlainModule&) = delete;
    ~PlainModule();

    enum class Callback { kNone, kFirst, kSecond };
    void load(Callback callback);
    void open();
    void start_main_loop();
    /// Returns once the main loop has ended. Every text must have been returned by then.
    void join_main_loop();
    void close();
    void unload();
    /// load() to start_main_loop().
    void start(Callback callback = Callback::kFirst);
    /// close() to unload().
    void stop();

    /// Calls IOCTL code 1, which must return at once.
    void require_no_main_loop();
    void require_refusing();
    /// The module must accept the text. THREAD: any.
    void write(const std::string& text = "<Pavo><Plain/></Pavo>");
    void write_by_ioctl(const std::string& text = "<Pavo><Plain/></Pavo>");
    /// The same with another length in the record than that of the text.
    void write(const std::string& text, std::uint32_t length);
    /// Until the module has returned every text.
    void wait_for_texts();

    /// A document of the module, or the return of a text.
    struct Received {
        Callback callback = Callback::kNone;
        std::uint32_t message_class = 0;
        std::string text;
        std::thread::id thread;
    };
    [[nodiscard]] std::vector<Received> received();
    [[nodiscard]] std::size_t documents_of(Callback callback);
    /// Runs inside the callback, whose result it returns. Set before load().
    std::function<std::int32_t(const Received&)> on_received;

    [[nodiscard]] const host_kit::Module& calls() const { return module_; }

  private:
    template <Callback callback>
    static std::int32_t receive(const void* request, void* reply);
    std::int32_t receive(Callback callback, const host_kit::HostCall& call);
    void note_fault(const std::string& fault);
    void require_no_fault();

    std::unique_ptr<CheckedLibrary> library_;
    host_kit::Module module_;
    std::chrono::seconds patience_;
    host_kit::LentBuffers lent_{0, 256};
    std::thread main_loop_;
    std::mutex mutex_;  // of the following
    std::vector<Received> received_;
    std::string fault_;
    std::thread::id inside_;  // the thread inside the callback
    int depth_ = 0;           // of its calls
    bool closed_ = false;     // Close returned, so that the module may not call the host
};

}  // namespace recorder::validate
