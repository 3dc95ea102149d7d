// usage: lumcv_bench [--summary=FILE] [FILTER], or lumcv_bench --check
// Measures the lines whose names match the regular expression, or all; or compares every function with its plain loop.
#include <benchmark/benchmark.h>
#include <time.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <fstream>
#include <iostream>
#include <regex>
#include <set>
#include <sstream>

#include "alone.h"
#include "lumcore.h"
#include "report.h"
#include "scalar.h"

namespace bench {
namespace {

// ---- one line, once ----

double seconds_of(clockid_t clock) {
  timespec t;
  clock_gettime(clock, &t);
  return double(t.tv_sec) + double(t.tv_nsec) * 1e-9;
}

// A sample at least: short calls are timed together.
constexpr double kSample = 30e-6;
struct Timing {
  double seconds;
  bool alone;  // on its core
};

// Times runs until some had the core for themselves, both before and after, or patience (in seconds) is at an end; then
// what there is counts.
template <class Run>
Timing time_of(const Run& run, clockid_t clock, double patience) {
  constexpr size_t kEnough = 5;
  const auto seconds_of_each = [&](int n) {
    const double start = seconds_of(clock);
    for (int i = 0; i < n; ++i) {
      run();
      benchmark::ClobberMemory();
    }
    return (seconds_of(clock) - start) / n;
  };
  seconds_of_each(1);  // for the caches
  const int n = 1 + int(kSample / std::max(seconds_of_each(1), 1e-8));
  std::vector<double> all, alone;
  const double end = seconds_of(CLOCK_MONOTONIC) + patience;
  bool before = alone_on_core();
  do {
    all.push_back(seconds_of_each(n));
    const bool after = alone_on_core();
    if (before && after) alone.push_back(all.back());
    before = after;
  } while (alone.size() < kEnough && seconds_of(CLOCK_MONOTONIC) < end);
  return {median(alone.empty() ? all : alone), !alone.empty()};
}

// In seconds: most for the lines that are shown in full.
bool is_full(const Line& line) { return line.roi.width == kMain.width && !line.all_threads && line.level != "scalar"; }
double patience(const Line& line) { return is_full(line) ? 0.02 : 0.006; }

// Copying between two blocks of half as many bytes each reads and writes as many as the call.
Timing copy_time(double bytes, clockid_t clock, double patience) {
  const Blocks blocks = copy_blocks();
  return time_of([&] { memcpy(blocks.to, blocks.from, size_t(bytes / 2)); }, clock, patience);
}

// All threads and one take turns, since all cores together are hardly ever left alone.
template <class Call>
void run_on_all_threads(benchmark::State& state, const Line& line, const Call& call, int most_threads) {
  constexpr double kTurn = 1e-3;
  const auto seconds_of_each = [&](int threads, int n) {
    lumSetNumThreads(threads);
    call();  // wakes them
    const double start = seconds_of(CLOCK_MONOTONIC);
    for (int i = 0; i < n; ++i) {
      call();
      benchmark::ClobberMemory();
    }
    return (seconds_of(CLOCK_MONOTONIC) - start) / n;
  };
  const int n = 1 + int(kTurn / std::max(seconds_of_each(1, 1), 1e-8));
  std::vector<double> all, ratios;
  for (auto _ : state) {
    for (int turn = 0; turn < 3; ++turn) {
      all.push_back(seconds_of_each(most_threads, n));
      ratios.push_back(seconds_of_each(1, n) / all.back());
    }
    state.SetIterationTime(median(all));
  }
  state.counters["speedup"] = median(ratios);
  state.counters["copy"] = copy_time(line.member->bytes(line.roi), CLOCK_MONOTONIC, kTurn).seconds;
}

void run_library(benchmark::State& state, const Line& line, const Library& library) {
  static int most_threads = 0;
  if (!most_threads) lumGetNumThreads(&most_threads);
  lumSetNumThreads(1);
  const Job job = make_job(*line.member, line.roi, library);
  void* const function = library.find(line.member->function);
  const auto call = [&, f = line.member->call] { return f(function, job); };
  fill_destination(job, *line.member);
  if (call() != lumStatusOk) return state.SkipWithError("the call failed");
  if (line.all_threads) return run_on_all_threads(state, line, call, most_threads);
  Timing time = {};
  for (auto _ : state) {
    time = time_of(call, CLOCK_THREAD_CPUTIME_ID, patience(line));
    state.SetIterationTime(time.seconds);
  }
  state.counters["alone"] = time.alone;
  if (line.roi.width == 1) return;
  const Timing copy = copy_time(line.member->bytes(line.roi), CLOCK_THREAD_CPUTIME_ID, patience(line));
  state.counters["copy"] = copy.seconds;
  state.counters["copy_alone"] = copy.alone;
}

// If that tells the time of all, on some of the rows: as few as take a fraction of a millisecond, because longer ones are
// hardly ever alone.
void run_scalar(benchmark::State& state, const Line& line) {
  constexpr double kLongest = 0.3e-3;
  Job job = make_job(*line.member, line.roi, libraries()[0]);
  const Scalar loop = scalar(line.member->function);
  fill_destination(job, *line.member);
  const auto seconds = [&](double patience) { return time_of([&] { loop(job); }, CLOCK_THREAD_CPUTIME_ID, patience); };
  const int rows = job.roi.height, some = std::min(rows, 8);
  if (line.member->proportional) {
    job.roi.height = some;
    job.roi.height = std::clamp(int(some * kLongest / seconds(0).seconds), 1, rows);
  }
  Timing time = {};
  for (auto _ : state) {
    time = seconds(patience(line));
    state.SetIterationTime(time.seconds * rows / job.roi.height);
  }
  state.counters["alone"] = time.alone;
}

// ---- all lines ----

std::vector<Line> all_lines() {
  std::vector<Line> lines;
  for (const LumSize roi : kSizes)
    for (const Member& member : members())
      for (const Library& library : libraries())
        if (library.level != "shipped")
          for (const bool all : {false, true}) lines.push_back({&member, roi, library.level, all});
  for (const Member& member : members()) lines.push_back({&member, kPixel, "shipped", false});
  return lines;
}

// Most effort for the lines that are shown in full.
void set_effort(benchmark::internal::Benchmark* b, const Line& line) {
  const bool small = line.roi.width <= kSmall.width && !line.all_threads;
  b->Repetitions(is_full(line) ? 7 : small ? 5 : 3)->Iterations(1)->UseManualTime();
}

void register_line(const Line& line) {
  auto* const b = benchmark::RegisterBenchmark(line.name().c_str(), [line](benchmark::State& state) {
    if (line.level == "scalar") return run_scalar(state, line);
    const auto is_level = [&](const Library& library) { return library.level == line.level; };
    const Library& library = *std::find_if(libraries().begin(), libraries().end(), is_level);
    run_library(state, line, library);
  });
  set_effort(b, line);
}

// Registers the lines that match, and the plain loops that they are compared with.
std::vector<Line> register_matching(const std::string& filter) {
  const std::regex pattern(filter);
  std::vector<Line> lines;
  std::set<std::string> loops;
  for (const Line& line : all_lines()) {
    if (!std::regex_search(line.name(), pattern)) continue;
    lines.push_back(line);
    register_line(line);
    if (line.roi.width > 1 && loops.insert(line.scalar().name()).second) register_line(line.scalar());
  }
  return lines;
}

// Takes medians over the repetitions, of those alone on their cores if there are some. A call and the copy after it
// share a repetition, and what disturbed it.
class Collector : public benchmark::BenchmarkReporter {
 public:
  bool ReportContext(const Context&) override { return true; }
  void ReportRuns(const std::vector<Run>& runs) override {
    std::vector<double> times, times_alone, fractions, fractions_alone, copies_alone, speedups;
    for (const Run& run : runs) {
      if (run.run_type != Run::RT_Iteration) continue;
      if (run.error_occurred) {
        std::cerr << run.benchmark_name() << ": " << run.error_message << '\n';
        failed = true;
        return;
      }
      const auto counter = [&](const char* name) {
        const auto at = run.counters.find(name);
        return at == run.counters.end() ? NAN : at->second.value;
      };
      const double time = run.real_accumulated_time, copy = counter("copy");
      const bool alone = counter("alone") == 1, copy_alone = counter("copy_alone") == 1;
      times.push_back(time);
      fractions.push_back(copy / time);
      speedups.push_back(counter("speedup"));
      if (alone) times_alone.push_back(time);
      if (copy_alone) copies_alone.push_back(copy);
      if (alone && copy_alone) fractions_alone.push_back(copy / time);
    }
    if (times.empty()) return;
    Result result = {median(times), median(fractions), median(speedups), !times_alone.empty()};
    if (result.alone) {
      result.seconds = median(times_alone);
      if (!fractions_alone.empty())
        result.copy_fraction = median(fractions_alone);
      else if (!copies_alone.empty())
        result.copy_fraction = median(copies_alone) / result.seconds;
    }
    results[runs[0].run_name.function_name] = result;
  }

  Results results;
  bool failed = false;
};

int measure(const std::string& filter, const std::string& summary) {
  char program[] = "lumcv_bench", interleave[] = "--benchmark_enable_random_interleaving=true";
  char* arguments[] = {program, interleave, nullptr};
  int count = 2;
  benchmark::Initialize(&count, arguments);
  const std::vector<Line> lines = register_matching(filter);
  Collector collector;
  benchmark::RunSpecifiedBenchmarks(&collector);
  print_lines(std::cout, lines, collector.results);
  if (!summary.empty()) {
    std::ofstream file(summary);
    print_summary(file, collector.results);
  }
  return collector.failed || lines.empty();
}

// ---- check ----

bool equals_scalar(const Library& library, const Member& member, LumSize roi) {
  const Job job = make_job(member, roi, library);
  const Scalar loop = scalar(member.function);
  if (!loop) return false;
  fill_destination(job, member);
  loop(job);
  const Lum8u* const result = job.dst;
  const size_t bytes = member.results ? member.results * sizeof(Lum64f) : size_t(job.dst_step) * roi.height;
  const std::vector<Lum8u> expected(result, result + bytes);
  fill_destination(job, member);
  return member.call(library.find(member.function), job) == lumStatusOk &&
         std::equal(expected.begin(), expected.end(), result);
}

int check() {
  int calls = 0, bad = 0;
  for (const LumSize roi : {kSmall, {75, 19}, kPixel})
    for (const Member& member : members())
      for (const Library& library : libraries()) {
        ++calls;
        if (equals_scalar(library, member, roi)) continue;
        ++bad;
        std::cerr << Line{&member, roi, library.level, false}.name() << " differs from the plain loop\n";
      }
  std::cout << calls - bad << " of " << calls << " calls equal their plain loops\n";
  // The report of a complete run, which takes minutes, must not be what fails.
  Results results;
  for (const Line& line : all_lines()) results[line.name()] = results[line.scalar().name()] = {1e-6, 1, 1, true};
  std::ostringstream summary;
  print_summary(summary, results);
  return bad != 0;
}

}  // namespace
}  // namespace bench

int main(int argc, char** argv) {
  std::string filter, summary;
  for (int i = 1; i < argc; ++i) {
    const std::string argument = argv[i];
    if (argument == "--check") return bench::check();
    if (argument.starts_with("--summary="))
      summary = argument.substr(10);
    else
      filter = argument;
  }
  return bench::measure(filter, summary);
}
