#include "plugin/host_buffer.h"

#include <string>

#include "host/documents/names.h"
#include "plugin/interfaces/records.h"
#include "plugin/send_to_host.h"

void ReleaseHostBuffer(const char* text) noexcept {
    try {
        const ReleaseOutcome outcome = RequestRelease(text);
        if (outcome.returned == 0 && outcome.result == 0) return;
        LogToHost(kLogInformation,
                  ("Decrement reference event returned : " + std::to_string(outcome.returned) +
                   " error : " + std::to_string(outcome.result) + "\n")
                      .c_str());
    } catch (...) {  // the release itself allocates nothing, so only the log line can be lost
    }
}
