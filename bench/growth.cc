#include "bench/growth.h"

#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "bench/measure.h"

std::string short_size(std::size_t size) {
  char text[32];
  const auto number = static_cast<double>(size);
  if (size >= 1000000) {
    std::snprintf(text, sizeof text, "%.3gM", number / 1e6);
  } else if (size >= 1000) {
    std::snprintf(text, sizeof text, "%.3gk", number / 1e3);
  } else {
    std::snprintf(text, sizeof text, "%zu", size);
  }
  return text;
}

double worst_ratio_per_tenfold(const std::vector<std::size_t>& sizes,
                               const std::vector<double>& costs) {
  double worst = 0;
  for (std::size_t i = 1; i < sizes.size(); ++i) {
    const double tenfolds =
        std::log10(static_cast<double>(sizes[i]) / static_cast<double>(sizes[i - 1]));
    worst = std::max(worst, std::pow(costs[i] / costs[i - 1], 1 / tenfolds));
  }
  return sizes.size() < 2 ? 1 : worst;
}

std::vector<double> in_fresh_process(const std::function<std::vector<double>()>& measure) {
  int ends[2];
  if (pipe(ends) != 0) give_up("no pipe");
  std::fflush(stdout);
  const pid_t child = fork();
  if (child < 0) give_up("no process");
  if (child == 0) {
    const std::vector<double> values = measure();
    const std::size_t bytes = values.size() * sizeof(double);
    const bool told = write(ends[1], values.data(), bytes) == static_cast<ssize_t>(bytes);
    std::fflush(stdout);
    _exit(told ? 0 : 1);
  }
  close(ends[1]);
  std::vector<double> values;
  for (double value = 0; read(ends[0], &value, sizeof value) == sizeof value;) {
    values.push_back(value);
  }
  close(ends[0]);
  int status = 0;
  waitpid(child, &status, 0);
  if (status != 0) give_up("a measurement failed");
  return values;
}

std::vector<std::size_t> tenfold_sizes(std::size_t largest) {
  std::vector<std::size_t> sizes;
  for (std::size_t size = 1000; size <= largest; size *= 10) sizes.push_back(size);
  if (sizes.empty()) sizes.push_back(largest);
  return sizes;
}
