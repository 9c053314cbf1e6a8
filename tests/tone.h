// Measures a captured tone: its frequency from the upward zero crossings (interpolated
// between samples, so a few seconds give a fraction of a hertz) and its peak level. A
// crossing counts only after the signal went below an eighth of the peak, so that the
// low noise of a codec's silent start does not count.
#pragma once

#include <algorithm>
#include <cmath>
#include <vector>

struct ToneMeasure {
    double hertz = 0;
    double peak = 0;  // largest magnitude of a sample
};

// `samples` are interleaved frames of `channels` (any sample type); the first channel is
// measured.
template <typename Sample>
ToneMeasure measureTone(const std::vector<Sample>& samples, unsigned channels, unsigned rate) {
    ToneMeasure tone;
    for (std::size_t i = 0; i < samples.size(); i += channels)
        tone.peak = std::max(tone.peak, std::fabs(double(samples[i])));
    const double hysteresis = tone.peak / 8;
    double first = -1, last = -1;
    long crossings = 0;
    bool armed = false;
    for (std::size_t i = channels; i < samples.size(); i += channels) {
        const double before = samples[i - channels], now = samples[i];
        armed |= now < -hysteresis;
        if (!armed || before >= 0 || now < 0) continue;
        armed = false;
        const double at = double(i / channels) - now / (now - before);
        if (first < 0) first = at;
        last = at;
        ++crossings;
    }
    if (crossings > 1) tone.hertz = double(crossings - 1) * rate / (last - first);
    return tone;
}
