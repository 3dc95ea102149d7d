#include "report.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <set>

namespace bench {
namespace {

// ---- tables: Markdown that is aligned, so that it reads well on a terminal too ----

using Row = std::vector<std::string>;

// The first `words` columns are words, the others numbers.
void print_table(std::ostream& out, const std::vector<Row>& rows, size_t words) {
  std::vector<size_t> widths(rows[0].size());
  for (const Row& row : rows)
    for (size_t i = 0; i < row.size(); ++i) widths[i] = std::max(widths[i], row[i].size());
  for (size_t r = 0; r < rows.size(); ++r) {
    for (size_t i = 0; i < widths.size(); ++i) {
      const std::string space(widths[i] - rows[r][i].size(), ' ');
      out << "| " << (i < words ? rows[r][i] + space : space + rows[r][i]) << ' ';
    }
    out << "|\n";
    if (r > 0) continue;
    for (size_t i = 0; i < widths.size(); ++i) out << '|' << std::string(widths[i] + 1, '-') << (i < words ? '-' : ':');
    out << "|\n";
  }
}

// Nothing stands for a line that was not measured.
std::string text(const char* format, double value) {
  char buffer[64];
  snprintf(buffer, sizeof buffer, format, value);
  return std::isfinite(value) ? buffer : "-";
}
std::string time_text(double seconds) {
  if (seconds < 1e-6) return text("%.0f ns", seconds * 1e9);
  return seconds < 1e-3 ? text("%.1f us", seconds * 1e6) : text("%.2f ms", seconds * 1e3);
}
std::string size_text(LumSize roi) { return std::to_string(roi.width) + 'x' + std::to_string(roi.height); }

// ---- figures of a line, not a number where it was not measured ----

struct Figures {
  const Results& results;

  double seconds(const Line& line) const { return find(line).seconds; }
  double copy_fraction(const Line& line) const { return find(line).copy_fraction; }
  double speedup(const Line& line) const { return find(line).speedup; }
  double bandwidth(const Line& line) const { return line.member->bytes(line.roi) / seconds(line); }
  bool alone(const Line& line) const { return find(line).alone; }
  double against_scalar(const Line& line) const { return seconds(line.scalar()) / seconds(line); }
  void append(Row& row, const Line& line) const {
    row.insert(row.end(), {time_text(seconds(line)), text("%.1f", bandwidth(line) * 1e-9),
                           text("%.2f", copy_fraction(line)), text("%.1f", against_scalar(line))});
  }

 private:
  Result find(const Line& line) const {
    const auto at = results.find(line.name());
    return at == results.end() ? Result{NAN, NAN, NAN, false} : at->second;
  }
};

// ---- the summary: the main size ----

void print_family(std::ostream& out, const Figures& figures, const std::string& family) {
  std::vector<Row> rows = {
      {"function", "setting", "AVX2", "GB/s", "of copy", "x scalar", "SSE3", "GB/s", "of copy", "x scalar", "1x1"}};
  for (const Member& member : members()) {
    if (member.family != family) continue;
    Row row = {member.function, member.setting};
    for (const char* level : {"avx2", "sse3"}) figures.append(row, {&member, kMain, level, false});
    row.push_back(time_text(figures.seconds({&member, kPixel, "shipped", false})));
    rows.push_back(row);
  }
  out << "\n### " << family << "\n\n";
  print_table(out, rows, 2);
}

// ---- the summary: all sizes, by groups of members that resemble each other ----

std::string group_of(const Member& member) {
  std::string what = member.family, types = member.function.substr(member.function.find('_') + 1);
  for (const char* word : {"Row", "Column", "Laplacian", "Lowpass", "Sobel", "Scharr", "Norm", "NormDiff", "NormRel"})
    if (member.function.find(word) != std::string::npos) what = word;
  if (what == "Sobel" || what == "Scharr") what = "Sobel, Scharr";
  for (const std::string word : {"Low_", "Inf_", "L1_", "L2_", "StdDev_", "LT_", "Val_", "GTVal_"})
    if (types.starts_with(word)) types.erase(0, word.size());
  types = types.substr(0, types.find('_'));
  const std::string size = member.setting.substr(0, member.setting.find(' '));
  return what + ' ' + types + (size.empty() ? "" : ' ' + size) + (member.factor > 1 ? ", fixed point" : "");
}

template <class F>
double median_of(const std::vector<const Member*>& group, const F& figure) {
  std::vector<double> values(group.size());
  std::transform(group.begin(), group.end(), values.begin(), [&](const Member* member) { return figure(*member); });
  return median(values);
}

Row group_row(const Figures& figures, const std::string& name, const std::vector<const Member*>& group) {
  Row row = {name};
  for (const LumSize roi : kSizes)
    for (const char* level : {"avx2", "sse3"}) {
      const auto fraction = [&](const Member& m) { return figures.copy_fraction({&m, roi, level, false}); };
      const std::string cell = text("%.2f", median_of(group, fraction));
      level == std::string("avx2") ? row.push_back(cell) : void(row.back() += " / " + cell);
    }
  for (const LumSize roi : kSizes)
    row.push_back(text("%.2f", median_of(group, [&](const Member& m) {
                         return figures.speedup({&m, roi, "avx2", true});
                       })));
  row.push_back(
      text("%.2f", median_of(group, [&](const Member& m) {
             return figures.bandwidth({&m, kMain, "avx2", false}) / figures.bandwidth({&m, kSmall, "avx2", false});
           })));
  return row;
}

void print_groups(std::ostream& out, const Figures& figures) {
  std::vector<std::string> names;
  std::map<std::string, std::vector<const Member*>> groups;
  for (const Member& member : members()) {
    auto& group = groups[group_of(member)];
    if (group.empty()) names.push_back(group_of(member));
    group.push_back(&member);
  }
  std::vector<Row> rows = {{"group"}};
  for (const LumSize roi : kSizes) rows[0].push_back(size_text(roi));
  for (const LumSize roi : kSizes) rows[0].push_back("threads " + std::to_string(roi.width));
  rows[0].push_back("small call");
  for (const std::string& name : names) rows.push_back(group_row(figures, name, groups[name]));
  print_table(out, rows, 1);
}

}  // namespace

std::string Line::name() const {
  const std::string setting = member->setting.empty() ? "" : member->setting + '/';
  return member->function + '/' + setting + size_text(roi) + '/' + level + (all_threads ? "/all" : "/1");
}

double median(std::vector<double> values) {
  std::nth_element(values.begin(), values.begin() + ptrdiff_t(values.size() / 2), values.end());
  return values[values.size() / 2];
}

void print_lines(std::ostream& out, const std::vector<Line>& lines, const Results& results) {
  std::vector<Row> rows = {{"function", "setting", "size", "level", "threads", "time", "GB/s", "of copy", "x scalar",
                            "x 1 thread", "alone"}};
  for (const Line& line : lines) {
    rows.push_back(
        {line.member->function, line.member->setting, size_text(line.roi), line.level, line.all_threads ? "all" : "1"});
    const Figures figures{results};
    figures.append(rows.back(), line);
    rows.back().push_back(text("%.2f", figures.speedup(line)));
    rows.back().push_back(line.all_threads ? "-" : figures.alone(line) ? "yes" : "no");
  }
  print_table(out, rows, 5);
}

void print_summary(std::ostream& out, const Results& results) {
  const Figures figures{results};
  int lines = 0, alone = 0;
  for (const Member& member : members())
    for (const char* level : {"avx2", "sse3"}) {
      ++lines;
      alone += figures.alone({&member, kMain, level, false});
    }
  out << "## " << size_text(kMain) << ", one thread\n\n"
      << alone << " of " << lines << " times were taken alone on the core.\n";
  std::set<std::string> families;
  for (const Member& member : members())
    if (families.insert(member.family).second) print_family(out, figures, member.family);
  out << "\n## All sizes, and all threads\n\n";
  print_groups(out, figures);
}

}  // namespace bench
