/*
 * ratio.h - figures that mean the same on every machine: the time of some work as a ratio
 * to the time of a yardstick, both measured in turn in the same run.
 *
 * A benchmark is one file: it reads its options, opens a table, and for every figure takes
 * the costs of its work and adds a row.
 *
 *   const bench::Options options = bench::options_read(argc, argv, "what is measured");
 *   bench::Table table(options, "what is compared");
 *   table.row({"work", "yardstick"}, bench::cost(yardstick, work, options), bench::at_most(2));
 *   return table.close();
 */
#ifndef QOM_BENCH_RATIO_H
#define QOM_BENCH_RATIO_H

#include <time.h>

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace bench {

/* Work that can be repeated, and does the same every time. */
using Work = std::function<void()>;

enum class Clock {
  cpu,  /* CPU time of this thread: other programs on the machine disturb it least */
  wall, /* for work in which another process or a device has a part */
};

constexpr clockid_t no_server = -1;

struct Options {
  int repetitions = 15; /* of yardstick and work in turn; the figure is the median */
  Clock clock = Clock::cpu;
  clockid_t server = no_server; /* with Clock::cpu: the CPU clock of another process that does
                                   a part of the work, whose time is added */
  Work before;      /* done before every timed run, untimed; without it short work is timed in
                       batches of several runs */
  std::string rows; /* file to which a table appends its rows as well; none when empty */
};

/* Makes the caches forget the data of what is measured, so that every run finds its own in
   memory, as work does that comes now and then. For Options::before. */
void caches_flush();

/* Reads --repetitions N and --rows FILE. Ends the process for --help, which prints `about`, and for
   arguments that are not understood. */
Options options_read(int argc, char *argv[], const std::string &about);

/* For each candidate the median of its time divided by the yardstick's. All of them take
   their turns in every repetition. */
std::vector<double> costs(const Work &yardstick, const std::vector<Work> &candidates,
                          const Options &options);
double cost(const Work &yardstick, const Work &candidate, const Options &options);

struct Goal {
  bool least; /* whether a ratio has to reach the value; otherwise it must not exceed it */
  double value;
};
inline Goal at_least(double value) {
  return {true, value};
}
inline Goal at_most(double value) {
  return {false, value};
}

struct Figure {
  std::string work;
  std::string yardstick; /* what the work is divided by; empty when the figure is a plain number */
};

/*
 * Prints its rows to standard output as they come. To the file of Options::rows, if there is one,
 * each appends a line of seven fields between tabs: work, yardstick, ratio, ">=" or "<=", the
 * goal's value, and the rival's name and ratio, both empty where there is none.
 */
class Table {
 public:
  /* `rival` heads the column of another program's ratio, where the rows have one. */
  Table(const Options &options, const std::string &title, const std::string &rival = "");

  /* The verdict is "ok" when the ratio meets the goal and is not worse than the rival's by
     more than a twentieth, which is what equal programs differ by. */
  void row(const Figure &figure, double ratio, Goal goal,
           std::optional<double> rival = std::nullopt);

  /* Prints how many goals were met. Returns the status for main(): 0, since a missed goal
     is a finding and not a failure of the benchmark. */
  int close() const;

 private:
  void row_append(const Figure &figure, double ratio, Goal goal, std::optional<double> rival) const;

  std::string rows_file_;
  std::string rival_;
  int rows_ = 0;
  int misses_ = 0;
};

}  // namespace bench

#endif
