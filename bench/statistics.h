// What a list of samples comes down to.
#pragma once

#include <vector>

// The sample below which `share` (0 to 1) of the samples lie; 0 for none.
double percentile(std::vector<double> samples, double share);

double median(const std::vector<double>& samples);

// How far the middle half of the samples lies apart, in parts of their median: (p75 - p25) / median.
double spread(const std::vector<double>& samples);
