// Runs a fuzz target once for each input file, without a fuzzer, so it works with any compiler.

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <span>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

void run(const std::filesystem::path& file) {
    std::ifstream in(file, std::ios::binary);
    const std::string input{std::istreambuf_iterator<char>(in), {}};
    // The vector has exactly this size, so AddressSanitizer finds a read past the end.
    const std::vector<std::uint8_t> bytes(input.begin(), input.end());
    (void)LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
}

}  // namespace

/// Returns 1 if there was no input: a missing corpus must not count as passed.
int main(int argc, char** argv) {
    namespace fs = std::filesystem;
    std::vector<fs::path> files;
    for (const char* path : std::span(argv, static_cast<std::size_t>(argc)).subspan(1)) {
        if (!fs::is_directory(path))
            files.emplace_back(path);
        else
            files.insert(files.end(), fs::directory_iterator(path), {});
    }
    for (const fs::path& file : files) run(file);
    std::printf("%zu inputs\n", files.size());
    return files.empty() ? 1 : 0;
}
