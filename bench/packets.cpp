// One frame, written to both files. It must be in the files before the next one is written.

#include <benchmark/benchmark.h>

#include "ps/ps_writer.h"

namespace {

constexpr std::uint64_t kMaxFileSize = 256 << 20;  // then a new pair of files is started, to save disk space

bool open_pair(PsWriter& writer) {
    ps_writer_init(writer);
    writer.data = platform::system_files().create_data("packets.ps");
    writer.index = platform::system_files().create_index("packets.psi");
    writer.open_flag = writer.data != nullptr && writer.index != nullptr;
    return writer.open_flag && ps_open(writer, {}, {}) == kPsOk;
}

void WriteFrame(benchmark::State& state) {
    PsWriter writer;
    const std::vector<platform::Byte> payload(static_cast<std::size_t>(state.range(0)), 0x55);
    const PsFrame frame{.picture_type = kKeyFrame, .year = 2026, .month = 1, .day = 1, .payload = payload};
    bool ok = open_pair(writer);
    for (auto _ : state) {
        ok = ok && ps_write_frame(writer, frame) == kPsOk;
        if (writer.data_end < static_cast<std::int64_t>(kMaxFileSize)) continue;
        state.PauseTiming();
        ps_close(writer);
        ok = ok && open_pair(writer);
        state.ResumeTiming();
    }
    ps_writer_destroy(writer);
    if (!ok) state.SkipWithError("a frame was not written");
    state.SetBytesProcessed(state.iterations() * state.range(0));
    state.SetComplexityN(state.range(0));
}
BENCHMARK(WriteFrame)->RangeMultiplier(10)->Range(300, 300'000)->Complexity(benchmark::oN);

}  // namespace
