#pragma once

// Headers that most files of the tools include and that take long to parse.

#include <fmt/chrono.h>
#include <fmt/format.h>

#include <algorithm>
#include <boost/filesystem.hpp>
#include <chrono>
#include <deque>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>
