// How a cost grows with a size, and the clean ground to measure it on.
#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

// 0.5 k, 40 k, 4.1 M: a size for people.
[[nodiscard]] std::string short_size(std::size_t size);

// The largest step between two that follow each other, as the factor that the
// cost takes on while the size grows tenfold; 1 when there is but one.
[[nodiscard]] double worst_ratio_per_tenfold(const std::vector<std::size_t>& sizes,
                                             const std::vector<double>& costs);

// What `measure` answers when it is run in a process of its own, whose heap
// nothing was freed in before. Ends this process when that one fails.
[[nodiscard]] std::vector<double> in_fresh_process(
    const std::function<std::vector<double>()>& measure);

// 1,000, 10,000, ... up to `largest`; `largest` alone when that is less.
[[nodiscard]] std::vector<std::size_t> tenfold_sizes(std::size_t largest);
