#include "store/unreadable_file.h"

#include "plugin/interfaces/records.h"

namespace norvane {

void keep_unreadable(platform::FileSystem& files, const std::string& name,
                     const std::function<void(std::int32_t level, const std::string& text)>& log) {
    const std::string kept = name + ".damaged";
    if (files.rename_file(name, kept))
        log(kLogError, "NorVane - '" + name + "' cannot be read; it is kept as '" + kept + "'.");
}

}  // namespace norvane
