// Runs two commands by turns and prints one row: median times, their ratio and peak memory.
//
// measure [--rounds N] [--bar RATIO] [--of time|memory] LABEL COMMAND... --vs COMMAND...
//
// The first command is ours. Each runs once unmeasured, then N times (7), with standard output to /dev/null. The row
// ends in "ok" or "over" by the bar, or in nothing without one. Exit status 1 when a command fails.
#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <span>
#include <vector>

#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

namespace {

struct run_result {
  double milliseconds = 0;
  long peak_kib = 0;
};

struct measured {
  double milliseconds = 0; ///< median
  double fastest = 0;
  double slowest = 0;
  long peak_kib = 0; ///< highest
};

double now_ms() {
  timespec time{};
  clock_gettime(CLOCK_MONOTONIC, &time);
  return static_cast<double>(time.tv_sec) * 1e3 + static_cast<double>(time.tv_nsec) * 1e-6;
}

/// Ends the program when the command can't be run or fails: a figure of a failed run is none.
run_result run(char** command) {
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
  const double start = now_ms();
  pid_t child = 0;
  const int error = posix_spawnp(&child, command[0], &actions, nullptr, command, environ);
  posix_spawn_file_actions_destroy(&actions);
  if (error != 0) {
    std::fprintf(stderr, "measure: %s: %s\n", command[0], std::strerror(error));
    std::exit(1);
  }
  int status = 0;
  rusage usage{};
  wait4(child, &status, 0, &usage);
  const double end = now_ms();
  if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) {
    std::fprintf(stderr, "measure: %s failed (wait status %d)\n", command[0], status);
    std::exit(1);
  }
  return {end - start, usage.ru_maxrss};
}

measured summarize(std::vector<run_result> runs) {
  std::sort(runs.begin(), runs.end(),
            [](const run_result& a, const run_result& b) { return a.milliseconds < b.milliseconds; });
  measured result{runs[runs.size() / 2].milliseconds, runs.front().milliseconds, runs.back().milliseconds, 0};
  for (const auto& one : runs) result.peak_kib = std::max(result.peak_kib, one.peak_kib);
  return result;
}

void print_row(const char* label, const measured& ours, const measured& theirs, bool by_memory, double bar) {
  const double ratio = by_memory ? static_cast<double>(ours.peak_kib) / static_cast<double>(theirs.peak_kib)
                                 : ours.milliseconds / theirs.milliseconds;
  std::printf("%-44s %9.2f ms %9.2f ms %7.1f %7.1f MiB %7.2f", label, ours.milliseconds, theirs.milliseconds,
              static_cast<double>(ours.peak_kib) / 1024, static_cast<double>(theirs.peak_kib) / 1024, ratio);
  if (bar > 0) std::printf("  <= %.2f  %s", bar, ratio <= bar ? "ok" : "over");
  std::printf("\n");
}

} // namespace

int main(int argc, char** argv) {
  int rounds = 7;
  double bar = 0;
  bool by_memory = false;
  int next = 1;
  for (; next + 1 < argc && std::strncmp(argv[next], "--", 2) == 0; next += 2) {
    if (std::strcmp(argv[next], "--rounds") == 0) rounds = std::max(1, std::atoi(argv[next + 1]));
    if (std::strcmp(argv[next], "--bar") == 0) bar = std::atof(argv[next + 1]);
    if (std::strcmp(argv[next], "--of") == 0) by_memory = std::strcmp(argv[next + 1], "memory") == 0;
  }
  const std::span words(argv + next, static_cast<std::size_t>(argc - next));
  const auto divider =
      std::find_if(words.begin(), words.end(), [](const char* w) { return std::strcmp(w, "--vs") == 0; });
  if (words.size() < 2 || divider - words.begin() < 2 || words.end() - divider < 2) {
    std::fputs("usage: measure [--rounds N] [--bar RATIO] [--of time|memory] LABEL COMMAND... --vs COMMAND...\n",
               stderr);
    return 2;
  }
  const char* label = words.front();
  *divider = nullptr; // ends our command's words; argv itself ends theirs
  char** ours_command = &words[1];
  char** theirs_command = &*divider + 1;

  std::vector<run_result> ours;
  std::vector<run_result> theirs;
  run(ours_command);
  run(theirs_command);
  for (int round = 0; round < rounds; ++round) {
    ours.push_back(run(ours_command));
    theirs.push_back(run(theirs_command));
  }
  print_row(label, summarize(ours), summarize(theirs), by_memory, bar);
  return 0;
}
