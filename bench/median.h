#pragma once

#include <algorithm>
#include <cstddef>
#include <vector>

inline double median(std::vector<double> values) {
    std::nth_element(values.begin(),
                     values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2), values.end());
    return values[values.size() / 2];
}
