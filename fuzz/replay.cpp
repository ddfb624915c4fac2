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
    int count = 0;
    for (const char* path : std::span(argv, static_cast<std::size_t>(argc)).subspan(1)) {
        if (!fs::is_directory(path)) {
            run(path);
            ++count;
            continue;
        }
        for (const fs::directory_entry& entry : fs::directory_iterator(path)) {
            run(entry.path());
            ++count;
        }
    }
    std::printf("%d inputs\n", count);
    return count == 0 ? 1 : 0;
}
