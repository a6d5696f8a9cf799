#include "ratio.h"

#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fstream>

namespace bench {

namespace {

constexpr double tolerance = 0.05;
constexpr double batch_seconds = 2e-3; /* far above what reading the clock takes */

double clock_seconds(clockid_t clock) {
  timespec time = {};
  clock_gettime(clock, &time);
  return static_cast<double>(time.tv_sec) + 1e-9 * static_cast<double>(time.tv_nsec);
}

double now(const Options &options) {
  if (options.clock == Clock::wall) return clock_seconds(CLOCK_MONOTONIC);
  const double own = clock_seconds(CLOCK_THREAD_CPUTIME_ID);
  return options.server == no_server ? own : own + clock_seconds(options.server);
}

/* Seconds of one run, over `runs` of them. */
double seconds(const Work &work, int runs, const Options &options) {
  if (options.before) options.before();
  const double start = now(options);
  for (int i = 0; i < runs; ++i) {
    work();
    asm volatile("" ::: "memory"); /* what was written counts as used */
  }
  return (now(options) - start) / runs;
}

/* How often to run the work for it to last a batch; also brings it into the caches. */
int runs_per_batch(const Work &work, const Options &options) {
  int runs = 1;
  while (!options.before && seconds(work, runs, options) * runs < batch_seconds) runs *= 2;
  return runs;
}

double median(std::vector<double> values) {
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}

[[noreturn]] void usage(FILE *stream, int status, const char *program, const std::string &about) {
  std::fprintf(stream,
               "usage: %s [--repetitions N] [--rows FILE]\n%s\n\n"
               "  --repetitions N  of yardstick and work in turn\n"
               "  --rows FILE      appends the figures to FILE, for bench/run\n",
               program, about.c_str());
  std::exit(status);
}

std::optional<int> positive(const char *text) {
  int value = 0;
  const auto [end, error] = std::from_chars(text, text + std::strlen(text), value);
  if (error != std::errc() || *end != '\0' || value < 1) return std::nullopt;
  return value;
}

}  // namespace

Options options_read(int argc, char *argv[], const std::string &about) {
  Options options;
  for (int i = 1; i < argc; ++i) {
    const std::string argument = argv[i];
    if (argument == "--help") usage(stdout, 0, argv[0], about);
    if (i + 1 == argc) usage(stderr, 2, argv[0], about);
    const char *value = argv[++i];
    if (argument == "--rows") {
      options.rows = value;
      continue;
    }
    const std::optional<int> count = argument == "--repetitions" ? positive(value) : std::nullopt;
    if (!count) usage(stderr, 2, argv[0], about);
    options.repetitions = *count;
  }
  return options;
}

/* Reads only: what a write leaves behind would still be on its way to memory while the next
   run is timed. */
void caches_flush() {
  static const std::vector<char> memory(2 * std::max(sysconf(_SC_LEVEL3_CACHE_SIZE), 16L << 20), 1);
  for (std::size_t i = 0; i < memory.size(); i += 64)
    static_cast<void>(*static_cast<const volatile char *>(&memory[i]));
}

std::vector<double> costs(const Work &yardstick, const std::vector<Work> &candidates,
                          const Options &options) {
  const std::size_t count = candidates.size();
  const int yardstick_runs = runs_per_batch(yardstick, options);
  std::vector<int> runs(count);
  for (std::size_t i = 0; i < count; ++i) runs[i] = runs_per_batch(candidates[i], options);

  std::vector<std::vector<double>> ratios(count);
  for (int repetition = 0; repetition < options.repetitions; ++repetition) {
    const double unit = seconds(yardstick, yardstick_runs, options);
    for (std::size_t i = 0; i < count; ++i)
      ratios[i].push_back(seconds(candidates[i], runs[i], options) / unit);
  }

  std::vector<double> medians(count);
  std::transform(ratios.begin(), ratios.end(), medians.begin(), median);
  return medians;
}

double cost(const Work &yardstick, const Work &candidate, const Options &options) {
  return costs(yardstick, {candidate}, options).front();
}

Table::Table(const Options &options, const std::string &title, const std::string &rival)
    : rows_file_(options.rows), rival_(rival) {
  std::printf("%s\n%-60s %8s", title.c_str(), "", "ratio");
  if (!rival_.empty()) std::printf(" %8s", rival_.c_str());
  std::printf(" %9s\n", "goal");
}

void Table::row(const Figure &figure, double ratio, Goal goal, std::optional<double> rival) {
  const bool met = goal.least ? ratio >= goal.value : ratio <= goal.value;
  const bool beaten =
      rival && (goal.least ? ratio < *rival * (1 - tolerance) : ratio > *rival * (1 + tolerance));
  ++rows_;
  misses_ += !met || beaten;
  const std::string name =
      figure.yardstick.empty() ? figure.work : figure.work + " / " + figure.yardstick;
  std::printf("%-60s %8.3g", name.c_str(), ratio);
  if (rival)
    std::printf(" %8.3g", *rival);
  else if (!rival_.empty())
    std::printf(" %8s", "-");
  std::printf(" %s %6.3g  %s\n", goal.least ? ">=" : "<=", goal.value,
              !met     ? "miss"
              : beaten ? ("miss: " + rival_ + " is faster").c_str()
                       : "ok");
  static_cast<void>(std::fflush(stdout));
  if (!rows_file_.empty()) row_append(figure, ratio, goal, rival);
}

void Table::row_append(const Figure &figure, double ratio, Goal goal,
                       std::optional<double> rival) const {
  std::ofstream file(rows_file_, std::ios::app);
  file << figure.work << '\t' << figure.yardstick << '\t' << ratio << '\t'
       << (goal.least ? ">=" : "<=") << '\t' << goal.value << '\t' << (rival ? rival_ : "") << '\t';
  if (rival) file << *rival;
  file << std::endl;
  if (!file) {
    std::fprintf(stderr, "%s: cannot write\n", rows_file_.c_str());
    std::exit(1);
  }
}

int Table::close() const {
  std::printf("%d of %d goals met\n", rows_ - misses_, rows_);
  return 0;
}

}  // namespace bench
