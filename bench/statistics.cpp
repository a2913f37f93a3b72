#include "statistics.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

double percentile(std::vector<double> samples, double share) {
    if (samples.empty())
        return 0;
    std::sort(samples.begin(), samples.end());
    const double place = share * static_cast<double>(samples.size() - 1);
    const auto below = static_cast<std::size_t>(place);
    const std::size_t above = std::min(below + 1, samples.size() - 1);
    return std::lerp(samples[below], samples[above], place - static_cast<double>(below));
}

double median(const std::vector<double>& samples) {
    return percentile(samples, 0.5);
}

double spread(const std::vector<double>& samples) {
    const double middle = median(samples);
    return middle == 0 ? 0 : (percentile(samples, 0.75) - percentile(samples, 0.25)) / std::fabs(middle);
}
