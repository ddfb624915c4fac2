#include "plugin/entry_guard.h"

#include "plugin/send_to_host.h"

void report(const char* entry_point, const char* what) noexcept {
    try_log_error({"NorVane - Error '", what, "' in ", entry_point, "."});
}
