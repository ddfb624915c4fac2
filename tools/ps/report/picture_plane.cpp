#include "tools/ps/report/picture_plane.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>

namespace ps_tool {
namespace {

/// The samples of one dimension that a sample of the result covers.
class CoveredSamples {
  public:
    CoveredSamples(int position, int result_length, int length)
        : begin_(static_cast<double>(position) * length / result_length),
          end_(static_cast<double>(position + 1) * length / result_length),
          last_(std::min(length, static_cast<int>(std::ceil(end_)))) {}

    [[nodiscard]] int first() const { return static_cast<int>(begin_); }
    [[nodiscard]] int last() const { return last_; }  // not included
    [[nodiscard]] float weight(int sample) const {
        const double covered = std::min<double>(sample + 1, end_) - std::max<double>(sample, begin_);
        return static_cast<float>(std::max(covered, 0.0));
    }

  private:
    double begin_;
    double end_;
    int last_;
};

template <typename Sample>
void add_line(const platform::Byte* samples, float weight, std::vector<float>& sums) {
    for (std::size_t x = 0; x < sums.size(); ++x) {
        Sample sample{};
        std::memcpy(&sample, samples + x * sizeof(Sample), sizeof(Sample));
        sums[x] += weight * static_cast<float>(sample);
    }
}

/// The sums of the covered lines, by column.
void add_lines(const SamplePlane& from, const CoveredSamples& lines, std::vector<float>& sums) {
    for (int y = lines.first(); y < lines.last(); ++y) {
        const platform::Byte* const samples = from.samples + y * from.stride;
        if (from.wide)
            add_line<std::uint16_t>(samples, lines.weight(y), sums);
        else
            add_line<std::uint8_t>(samples, lines.weight(y), sums);
    }
}

}  // namespace

Plane scale_plane(const SamplePlane& from, int width, int height) {
    constexpr double kMaxSample = 255;
    Plane plane{width, height, {}};
    plane.samples.reserve(static_cast<std::size_t>(width) * static_cast<std::size_t>(height));
    const double area = static_cast<double>(from.width) / width * from.height / height;
    std::vector<CoveredSamples> columns;
    columns.reserve(static_cast<std::size_t>(width));
    for (int x = 0; x < width; ++x) columns.emplace_back(x, width, from.width);
    std::vector<float> sums(static_cast<std::size_t>(from.width));
    for (int y = 0; y < height; ++y) {
        std::ranges::fill(sums, 0.0F);
        add_lines(from, CoveredSamples(y, height, from.height), sums);
        for (const CoveredSamples& covered : columns) {
            double sum = 0;
            for (int x = covered.first(); x < covered.last(); ++x)
                sum += static_cast<double>(covered.weight(x) * sums[static_cast<std::size_t>(x)]);
            const double value = std::clamp(sum / area * from.gain + from.offset, 0.0, kMaxSample);
            plane.samples.push_back(static_cast<platform::Byte>(std::lround(value)));
        }
    }
    return plane;
}

}  // namespace ps_tool
