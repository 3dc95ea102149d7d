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

// Copying between two blocks of half as many bytes each reads and writes as many as the call.
double copy_seconds(double bytes, clockid_t clock) {
  constexpr double kEnough = 0.003;
  const Blocks blocks = copy_blocks();
  const auto copies = [&](int n) {
    const double start = seconds_of(clock);
    for (int i = 0; i < n; ++i) {
      memcpy(blocks.to, blocks.from, size_t(bytes / 2));
      benchmark::ClobberMemory();
    }
    return (seconds_of(clock) - start) / n;
  };
  copies(1);  // for the caches
  const double estimate = std::max(copies(1), 1e-8);
  return estimate > kEnough ? estimate : copies(1 + int(kEnough / estimate));
}

void run_library(benchmark::State& state, const Line& line, const Library& library, int threads) {
  lumSetNumThreads(threads);
  const Job job = make_job(*line.member, line.roi, library);
  void* const function = library.find(line.member->function);
  const auto call = line.member->call;
  fill_destination(job, *line.member);
  if (call(function, job) != lumStatusOk) return state.SkipWithError("the call failed");
  for (auto _ : state) {
    call(function, job);
    benchmark::ClobberMemory();
  }
  if (line.roi.width == 1) return;
  const clockid_t clock = line.all_threads ? CLOCK_MONOTONIC : CLOCK_THREAD_CPUTIME_ID;
  state.counters["copy"] = copy_seconds(line.member->bytes(line.roi), clock);
}

void run_scalar(benchmark::State& state, const Line& line) {
  const Job job = make_job(*line.member, line.roi, libraries()[0]);
  const Scalar loop = scalar(line.member->function);
  fill_destination(job, *line.member);
  for (auto _ : state) {
    loop(job);
    benchmark::ClobberMemory();
  }
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

// Most effort for the lines that are shown in full. On one thread the time of the processor counts, which other
// programs' turns do not lengthen.
void set_effort(benchmark::internal::Benchmark* b, const Line& line) {
  const bool loop = line.level == "scalar", all = line.all_threads;
  const bool full = line.roi.width == kMain.width && !all && !loop, small = line.roi.width <= kSmall.width;
  const bool slow = line.roi.width == kLargest.width && loop;
  b->Repetitions(full ? 7 : slow ? 1 : small && !all ? 5 : 3)->MinTime(full ? 0.02 : 0.004);
  if (all) b->UseRealTime();
}

void register_line(const Line& line) {
  static int most_threads = 0;
  if (!most_threads) lumGetNumThreads(&most_threads);
  auto* const b = benchmark::RegisterBenchmark(line.name().c_str(), [line](benchmark::State& state) {
    if (line.level == "scalar") return run_scalar(state, line);
    const auto is_level = [&](const Library& library) { return library.level == line.level; };
    const Library& library = *std::find_if(libraries().begin(), libraries().end(), is_level);
    run_library(state, line, library, line.all_threads ? most_threads : 1);
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

// Takes medians over the repetitions. A call and the copy after it share a repetition, and what disturbed it.
class Collector : public benchmark::BenchmarkReporter {
 public:
  bool ReportContext(const Context&) override { return true; }
  void ReportRuns(const std::vector<Run>& runs) override {
    std::vector<double> times, fractions;
    for (const Run& run : runs) {
      if (run.run_type != Run::RT_Iteration) continue;
      if (run.error_occurred) {
        std::cerr << run.benchmark_name() << ": " << run.error_message << '\n';
        failed = true;
        return;
      }
      const bool real = run.run_name.time_type == "real_time";
      times.push_back((real ? run.real_accumulated_time : run.cpu_accumulated_time) / double(run.iterations));
      const auto copy = run.counters.find("copy");
      fractions.push_back(copy == run.counters.end() ? NAN : copy->second / times.back());
    }
    if (!times.empty()) results[runs[0].run_name.function_name] = {median(times), median(fractions)};
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
  for (const Line& line : all_lines()) results[line.name()] = results[line.scalar().name()] = {1e-6, 1};
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
