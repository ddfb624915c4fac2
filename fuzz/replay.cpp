// Runs a fuzz target over files and folders of inputs, without a fuzzer: any compiler, any preset.

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
    // On a heap block of its own, so that a read past its end is seen.
    const std::vector<std::uint8_t> bytes(input.begin(), input.end());
    (void)LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
}

}  // namespace

/// Status 1 when there was nothing to run: a corpus that went missing must not look like one that passes.
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
