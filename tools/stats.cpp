#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <memory>

#include "commands.h"
#include "console.h"
#include "figures.h"
#include "library.h"
#include "lumcore.h"
#include "options.h"

namespace tool {
namespace {

struct Options {
  std::string picture;
  std::optional<std::string> mask, against;
  std::optional<int> channel;
  std::optional<int> threads;
  bool json = false;
};

struct Channel {
  int number;
  const char* name;
  Figures figures;
};

// What is printed.
struct Report {
  int width, height;
  size_t selected;
  std::vector<Channel> channels;
};

// The shortest text that reads back as the same number, which is JSON's way too.
std::string exact(double value) {
  if (!std::isfinite(value)) return "null";
  char text[32];
  return {text, std::to_chars(text, text + sizeof text, value).ptr};
}

std::string json(const Extreme& extreme) {
  return "{\"value\": " + exact(extreme.value) + ", \"x\": " + std::to_string(extreme.at.x) +
         ", \"y\": " + std::to_string(extreme.at.y) + "}";
}

std::string json(const Norms& norms) {
  return "{\"inf\": " + exact(norms.inf) + ", \"l1\": " + exact(norms.l1) + ", \"l2\": " + exact(norms.l2) + "}";
}

std::string json(const Report& report) {
  std::string text = "{\"width\": " + std::to_string(report.width) + ", \"height\": " + std::to_string(report.height) +
                     ", \"selected\": " + std::to_string(report.selected) + ", \"channels\": [";
  const char* separator = "\n";
  for (const auto& [number, name, f] : report.channels) {
    text += std::exchange(separator, ",\n");
    text += "  {\"channel\": " + std::to_string(number) + ", \"mean\": " + exact(f.mean) +
            ", \"deviation\": " + exact(f.deviation) + ",\n   \"minimum\": " + json(f.minimum) +
            ", \"maximum\": " + json(f.maximum) + ",\n   \"norm\": " + json(f.norm);
    if (f.difference) text += ",\n   \"difference\": " + json(*f.difference);
    if (f.relative) text += ",\n   \"relative\": " + json(*f.relative);
    text += "}";
  }
  return text + "\n]}\n";
}

std::string number(double value) {
  if (std::isnan(value)) return "nan";  // without its sign, which says nothing
  char text[40];
  std::snprintf(text, sizeof text, "%.10g", value);
  return text;
}

std::string position(LumPoint at) { return std::to_string(at.x) + "," + std::to_string(at.y); }

// A line for each figure, a column for each channel.
class Table {
 public:
  explicit Table(const std::vector<Channel>& channels) : channels_(channels) {}

  template <class Text>
  void line(const char* name, const Text& text_of) {
    text_ += name;
    text_.append(16 - std::string_view(name).size(), ' ');
    for (const Channel& channel : channels_) {
      const std::string cell = text_of(channel);
      text_.append(16 - std::min<size_t>(cell.size(), 15), ' ') += cell;
    }
    text_ += '\n';
  }

  template <class NormsOf>
  void norms(const char* const (&names)[3], const NormsOf& norms_of) {
    line(names[0], [&](const Channel& c) { return number(norms_of(c).inf); });
    line(names[1], [&](const Channel& c) { return number(norms_of(c).l1); });
    line(names[2], [&](const Channel& c) { return number(norms_of(c).l2); });
  }

  const std::string& text() const { return text_; }

 private:
  const std::vector<Channel>& channels_;
  std::string text_;
};

std::string table(const Report& report) {
  Table table(report.channels);
  table.line("", [](const Channel& c) { return std::string(c.name); });
  table.line("mean", [](const Channel& c) { return number(c.figures.mean); });
  table.line("deviation", [](const Channel& c) { return number(c.figures.deviation); });
  table.line("minimum", [](const Channel& c) { return number(c.figures.minimum.value); });
  table.line("  first at x,y", [](const Channel& c) { return position(c.figures.minimum.at); });
  table.line("maximum", [](const Channel& c) { return number(c.figures.maximum.value); });
  table.line("  first at x,y", [](const Channel& c) { return position(c.figures.maximum.at); });
  table.norms({"norm Inf", "norm L1", "norm L2"}, [](const Channel& c) { return c.figures.norm; });
  if (report.channels[0].figures.difference) {
    table.norms({"difference Inf", "difference L1", "difference L2"},
                [](const Channel& c) { return *c.figures.difference; });
    table.norms({"relative Inf", "relative L1", "relative L2"}, [](const Channel& c) { return *c.figures.relative; });
  }
  return std::to_string(report.width) + "x" + std::to_string(report.height) + " pixels, " +
         std::to_string(report.selected) + " selected\n" + table.text();
}

int fail(const std::string& name, const Failure& failure) {
  print_error(name, failure.message);
  return 1;
}

Result<Picture> read_of_size(const std::string& name, const Picture& other, const std::string& other_name) {
  Result<Picture> picture = read_picture(name);
  if (!picture) return picture;
  if (Status s = check_same_size(*picture, other, other_name); !s) return s.failure();
  return picture;
}

Result<std::vector<Channel>> measure_channels(const Picture& picture, const Picture& mask, const Picture* other,
                                              std::optional<int> only) {
  constexpr const char* kNames[] = {"red", "green", "blue"};
  std::vector<Channel> channels;
  for (int channel = only.value_or(1); channel <= only.value_or(picture.channels); ++channel) {
    Result<Figures> figures = measure(picture, mask, other, channel);
    if (!figures) return figures.failure();
    channels.push_back({channel, picture.channels == 1 ? "grey" : kNames[channel - 1], *figures});
  }
  return channels;
}

int run(const Options& options) {
  if (options.threads) lumSetNumThreads(*options.threads);
  Result<Picture> picture = read_picture(options.picture);
  if (!picture) return fail(options.picture, picture.failure());
  if (options.channel.value_or(1) > picture->channels)
    return fail(options.picture, {"a grey picture has no channel " + std::to_string(*options.channel)});

  Picture mask{picture->width, picture->height, 1, {}};
  if (options.mask) {
    Result<Picture> read = read_of_size(*options.mask, *picture, options.picture);
    if (!read) return fail(*options.mask, read.failure());
    for (size_t i = 0; i < read->pixels.size(); i += size_t(read->channels))
      mask.pixels.push_back(std::any_of(&read->pixels[i], &read->pixels[i] + read->channels, [](int v) { return v; }));
  } else {
    mask.pixels.assign(size_t(picture->width) * unsigned(picture->height), 255);
  }
  std::optional<Picture> other;
  if (options.against) {
    Result<Picture> read = read_of_size(*options.against, *picture, options.picture);
    if (!read) return fail(*options.against, read.failure());
    if (read->channels != picture->channels)
      return fail(*options.against, {"one of it and " + options.picture + " is grey, the other has colours"});
    other = std::move(*read);
  }

  Result<std::vector<Channel>> channels = measure_channels(*picture, mask, other ? &*other : nullptr, options.channel);
  if (!channels) return fail(options.picture, channels.failure());
  const size_t selected = mask.pixels.size() - size_t(std::count(mask.pixels.begin(), mask.pixels.end(), 0));
  const Report report{picture->width, picture->height, selected, std::move(*channels)};
  std::fputs((options.json ? json(report) : table(report)).c_str(), stdout);
  return 0;
}

}  // namespace

void add_stats_command(CLI::App& app, int& exit_status) {
  CLI::App* const stats = add_command(app, "stats", "Measure a picture: mean, deviation, extrema, norms");
  const auto options = std::make_shared<Options>();
  stats->add_option("IN", options->picture, "Picture")->option_text(" ")->required();
  stats->add_option("--mask", options->mask, "Measure only where this picture is not black")->option_text("FILE");
  stats->add_option("--against", options->against, "Also measure the difference from this picture, and relative to it")
      ->option_text("FILE");
  stats->add_option("--channel", options->channel, "Only red (1), green (2) or blue (3)")
      ->option_text("N")
      ->check(CLI::Range(1, 3));
  add_threads_option(stats, options->threads);
  stats->add_flag("--json", options->json, "Print JSON; what is infinite or not a number becomes null");
  stats->callback([options, &exit_status] { exit_status = run(*options); });
}

}  // namespace tool
