// The command-line program: its picture readers and writers, and runs of the program itself.
#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/wait.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <numeric>
#include <set>
#include <sstream>

#include "image_file.h"

namespace fs = std::filesystem;
using namespace std::string_literals;
using tool::Bytes, tool::Format, tool::Picture;

namespace {

Bytes bytes(const std::string& text) { return Bytes(text.begin(), text.end()); }

Bytes from_hex(const std::string& hex) {
  Bytes result;
  for (size_t i = 0; i < hex.size(); i += 2) result.push_back(uint8_t(std::stoi(hex.substr(i, 2), nullptr, 16)));
  return result;
}

// An orange pixel and a transparent black one, of 16 bits a sample.
const char kPng[] =
    "89504e470d0a1a0a0000000d4948445200000002000000011006000000a4b2a3c9000000144944415478da63f8ffbfa18181e1ff7f062800"
    "003f5f04fd89471a100000000049454e44ae426082";
// 5x3 red pixels.
const char kJpeg[] =
    "ffd8ffdb00430008080808080808080808080808080808080808080808080808080808080808080808080808080808080808080808080808"
    "080808080808080808080808080808ffc00011080003000503011100021100031100ffc40015000101000000000000000000000000000006"
    "07ffc40014100100000000000000000000000000000000ffda000c03010002000300003f001628bfbfffd9";

// Size and samples in decimal, or the failure.
std::string outcome(const Bytes& file) {
  tool::Result<Picture> picture = tool::decode_picture(file);
  if (!picture) return picture.failure().message;
  std::ostringstream text;
  text << picture->width << "x" << picture->height << "x" << picture->channels << ":";
  for (const uint8_t sample : picture->pixels) text << ' ' << int(sample);
  return text.str();
}

TEST(PictureReader, PgmAndPpm) {
  const std::pair<std::string, std::string> cases[] = {
      {"P5\n2 2\n255\n\x01\x02\x03\xff"s, "2x2x1: 1 2 3 255"},
      {"P6 1 1 255 abc", "1x1x3: 97 98 99"},
      {"P5#one\n# two\r\n2#three\n 1 # four # five\n255\nab", "2x1x1: 97 98"},
      {"P3 1 2 255 1 2 3 4 5 6", "1x2x3: 1 2 3 4 5 6"},
      {"P2 4 1 4 0 1 2 4", "4x1x1: 0 64 128 255"},
      {"", "the file is empty"},
      {"P5 2 # 2 255 abcd", "the header lacks the height"},
      {"P5 0 2 255 ", "a size of 0x2 is not supported, sides have 1 to 65535 pixels"},
      {"P5 4294967297 1 255 a", "a size of 1000000x1 is not supported, sides have 1 to 65535 pixels"},
      {"P6 20000 17896 255 a", "a size of 20000x17896 is not supported, it needs more than 1 GiB"},
      {"P5 1 1 0 a", "the maximum sample value is not in 1 to 255"},
      {"P5 1 1 65535 ab", "16-bit samples are not supported"},
      {"P5 1 1 255#abc", "no white space between header and samples"},
      {"P5 2 1 100\n\x64\x65", "a sample is above the maximum of 100"},
      {"P2 1 1 255 4294967296", "a sample is above the maximum of 255"},
      {"P2 2 1 255 1 x", "a sample is not a number"},
      {"P5 32768 32768 255 abc", "the samples are cut short"},
      {"P5 1 1 255 aP5 1 1 255 a", "more data than one picture"}};
  for (const auto& [file, expected] : cases) EXPECT_EQ(outcome(bytes(file)), expected) << file;
}

TEST(PictureReader, PngAndJpeg) {
  EXPECT_EQ(outcome(from_hex(kPng)), tool::kHasPng ? "2x1x3: 255 128 0 255 255 255" : "PNG support is not built in");
  tool::Result<Picture> picture = tool::decode_picture(from_hex(kJpeg));
  ASSERT_EQ(bool(picture), tool::kHasJpeg);
  for (size_t i = 0; tool::kHasJpeg && i < 5 * 3 * 3; ++i)
    EXPECT_NEAR(picture->pixels.at(i), i % 3 == 0 ? 255 : 0, 2) << i;
}

// Whatever happens to a file, the reader says so or gives a picture of the size it states; a part is never a picture.
TEST(PictureReader, DamagedFiles) {
  for (const Bytes& file : {bytes("P5 3 2 255 abcdef"), bytes("P3 1 1 9 1 2 3"), from_hex(kPng), from_hex(kJpeg)}) {
    if (!tool::decode_picture(file)) continue;  // a type that is not built in
    for (size_t size = 0; size < file.size(); ++size)
      EXPECT_FALSE(tool::decode_picture({file.data(), size})) << size << " of " << outcome(file);
    for (size_t at = 0; at < file.size(); ++at)
      for (const int flip : {0x01, 0x10, 0xff}) {
        Bytes damaged = file;
        damaged[at] = uint8_t(damaged[at] ^ flip);
        tool::Result<Picture> picture = tool::decode_picture(damaged);
        if (!picture) continue;
        EXPECT_TRUE(file[0] != 0x89 || at >= file.size() - 4) << "only the end mark's own checksum may go unread";
        EXPECT_EQ(picture->pixels.size(), size_t(picture->width) * picture->height * picture->channels);
      }
  }
}

TEST(PictureWriter, RoundTrips) {
  for (const int channels : {1, 3})
    for (const Format format : {Format::pgm, Format::ppm, Format::png}) {
      if (format == Format::png && !tool::kHasPng) continue;
      Picture picture{7, 5, channels, Bytes(35 * channels)};
      std::iota(picture.pixels.begin(), picture.pixels.end(), 200);
      tool::Result<Bytes> file = tool::encode_picture(picture, format);
      ASSERT_EQ(bool(file), format != Format::pgm || channels == 1);
      if (!file) continue;
      tool::Result<Picture> copy = tool::decode_picture(*file);
      ASSERT_TRUE(copy && copy->width == 7 && copy->channels == (format == Format::ppm ? 3 : channels));
      // Equal channels of weight 1 in all give the grey that was stored.
      EXPECT_EQ(channels == 1 ? tool::to_grey(*copy).pixels : copy->pixels, picture.pixels);
    }
  const Picture colours{4, 1, 3, {255, 0, 0, 0, 255, 0, 0, 0, 255, 255, 255, 255}};
  EXPECT_EQ(tool::to_grey(colours).pixels, (Bytes{76, 150, 29, 255}));
}

// Runs of the program in a folder of their own, which is its current folder.
struct Program : testing::Test {
  struct Run {
    int status;
    std::string out, err;
  };

  Program() {
    if (!mkdtemp(folder_.data())) abort();
    fs::create_directory(path(""));
  }
  ~Program() override { fs::remove_all(folder_); }

  // `before` runs in the same shell.
  Run run(const std::string& arguments, const std::string& before = ":") const {
    const std::string command = "cd '" + path("").string() + "' && " + before + " && '" LUM_TOOL_PROGRAM "' " +
                                arguments + " >../out 2>../err </dev/null";
    const int status = std::system(command.c_str());
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, text(path("../out")), text(path("../err"))};
  }

  fs::path path(const std::string& name) const { return fs::path(folder_) / "work" / name; }
  static std::string text(const fs::path& file) {
    std::ifstream in(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
  }
  void put(const std::string& name, const std::string& content) const {
    fs::create_directories(path(name).parent_path());
    std::ofstream(path(name), std::ios::binary) << content;
  }
  // Size and samples of a picture, or why it cannot be read.
  std::string picture(const std::string& name) const { return outcome(bytes(text(path(name)))); }
  // All names in a folder, hidden ones too.
  std::string listing(const std::string& name) const {
    std::set<std::string> names;
    for (const auto& entry : fs::directory_iterator(path(name))) names.insert(entry.path().filename().string() + " ");
    return std::accumulate(names.begin(), names.end(), std::string());
  }

  std::string folder_ = "/tmp/lumcv-test-XXXXXX";
};

constexpr int kSide = 40;
// Black above or below one of the diagonals.
std::string diagonal_pgm(bool falling) {
  std::string file = "P5 40 40 255\n";
  for (int i = 0; i < kSide * kSide; ++i)
    file += (falling ? i % kSide > i / kSide : i % kSide + i / kSide < kSide) ? '\xff' : '\0';
  return file;
}

// An operator or derivative of the wrong sign or direction loses diagonal edges: each pixel would then be compared with
// its equals along the edge.
TEST_F(Program, FindsDiagonalEdges) {
  for (const std::string options : {"", "--mask 5", "--operator scharr --threads 1", "--low 5 --high 9"})
    for (const bool falling : {true, false}) {
      put("in.pgm", diagonal_pgm(falling));
      ASSERT_EQ(run("edges in.pgm out.pgm " + options).status, 0);
      tool::Result<Picture> edges = tool::read_picture(path("out.pgm"));
      ASSERT_TRUE(edges);
      for (int y = 3; y < kSide - 3; ++y)
        for (int x = 3; x < kSide - 3; ++x) {
          // Two pixels touch the edge in each row, and Canny may keep either or both.
          const int distance = falling ? x - y : kSide - x - y;
          const uint8_t* const at = edges->pixels.data() + y * kSide + x;
          EXPECT_TRUE(distance == 0 || distance == 1 || *at == 0) << options << ' ' << x << ' ' << y;
          EXPECT_TRUE(distance != 1 || *at == 255 || at[falling ? -1 : 1] == 255) << options << ' ' << x << ' ' << y;
        }
    }
}

TEST_F(Program, OptionsReachTheLibrary) {
  put("in.pgm", "P5 8 8 255\n" + std::string(64, '\xff'));
  // A white picture has edges only against another value outside.
  for (const std::string options : {"", "--border const --border-value 255", "--border const --high 1e9"})
    EXPECT_NE(run("edges in.pgm out.pgm " + options).out.find(" 0 edge pixels"), std::string::npos) << options;
  EXPECT_NE(run("edges in.pgm out.pgm --border const").out.find(" 28 edge pixels"), std::string::npos);
  EXPECT_NE(run("--version", "export OMP_NUM_THREADS=3").out.find("threads: 3\n"), std::string::npos);
}

TEST_F(Program, UsageErrorsTouchNothing) {
  put("in.pgm", diagonal_pgm(true));
  put("file.pgm", "keep");
  const std::pair<const char*, const char*> cases[] = {
      {"edges in.pgm out.gif", "extension"},
      {"edges in.pgm ''", "empty"},
      {"edges in.pgm in.pgm file.pgm", "file.pgm: not a folder"},
      {"edges in.pgm out.pgm --format pgm", "--format"},
      {"edges in.pgm out.pgm --operator scharr --mask 5", "--mask 5"},
      {"edges in.pgm out.pgm --border-value 3", "--border const"},
      {"edges in.pgm out.pgm --low nan", "finite"},
      {"edges in.pgm out.pgm --low 200 --high 100", "--low must not be above --high"},
      {"pad in.pgm out.pgm --value 1", "--border const"},
      {"background in.pgm in.pgm out", "extension"},
      {"background in.pgm in.pgm out.pgm --average out", "extension"},
      {"background in.pgm in.pgm out.pgm --average ./out.pgm", "the same file"},
      {"background in.pgm in.pgm out.pgm --alpha nan", "--alpha"},
      {"background in.pgm in.pgm out.pgm --threshold 255", "--threshold"}};
  for (const auto& [arguments, message] : cases) {
    const Run r = run(arguments);
    EXPECT_EQ(r.status, 2) << arguments;
    EXPECT_TRUE(r.out.empty() && r.err.starts_with("lumcv: ")) << r.err;
    EXPECT_NE(r.err.find(message), std::string::npos) << arguments << '\n' << r.err;
  }
  EXPECT_EQ(listing("."), "file.pgm in.pgm ");
  EXPECT_EQ(text(path("file.pgm")), "keep");
}

TEST_F(Program, SkipsBadPicturesAmongGoodOnes) {
  put("in/a.pgm", diagonal_pgm(true));
  put("in/b.pgm", diagonal_pgm(true).substr(0, 1000));
  put("in/c.PPM", "P3 1 1 255 9 9 9");
  put("in/notes.txt", "left alone");
  put("in/sub/d.pgm", "left alone");
  put("e.jpeg", diagonal_pgm(false));  // the content counts
  const Run r = run("edges in missing.pgm e.jpeg new/out --format pgm");
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err, "lumcv: in/b.pgm: the samples are cut short\nlumcv: missing.pgm: No such file or directory\n");
  EXPECT_EQ(std::count(r.out.begin(), r.out.end(), '\n'), 3) << r.out;
  EXPECT_EQ(listing("new/out"), "a.pgm c.pgm e.pgm ");
  EXPECT_EQ(run("edges in/a.pgm new/out").status, 0);
  EXPECT_EQ(listing("new/out"), tool::kHasPng ? "a.pgm a.png c.pgm e.pgm " : "a.pgm c.pgm e.pgm ");
  fs::create_directory(path("empty"));
  EXPECT_EQ(run("edges empty new/out").err, "lumcv: empty: no pictures in this folder\n");
}

TEST_F(Program, OverwritesNeitherInputsNorItsOwnOutputs) {
  const std::string picture = diagonal_pgm(true), other = diagonal_pgm(false);
  put("in/a.pgm", picture);
  put("in/a.ppm", other);
  put("more/a.pgm", other);
  fs::create_symlink("in/a.pgm", path("link.pgm"));
  for (const char* arguments :
       {"in/a.pgm more/../in/a.pgm", "in/a.pgm link.pgm", "link.pgm in/a.pgm", "in in --format pgm"})
    EXPECT_NE(run("edges "s + arguments).err.find("would overwrite an input"), std::string::npos) << arguments;
  EXPECT_EQ(text(path("in/a.pgm")), picture);

  ASSERT_EQ(run("edges in/a.pgm first.pgm").status, 0);
  const Run equal = run("edges in/a.pgm more/a.pgm out --format pgm");
  EXPECT_EQ(equal.status, 1);
  EXPECT_EQ(equal.err, "lumcv: more/a.pgm: the output out/a.pgm is that of in/a.pgm already\n");
  EXPECT_EQ(text(path("out/a.pgm")), text(path("first.pgm")));
}

// Commands that fail with these lines and leave the folder as it is.
using Failures = std::vector<std::pair<std::string, std::string>>;
void expect_failures(const Program& program, const Failures& failures) {
  const std::string before = program.listing(".");
  for (const auto& [arguments, message] : failures) {
    const Program::Run r = program.run(arguments);
    EXPECT_EQ(r.err, "lumcv: " + message + "\n") << arguments;
    EXPECT_TRUE(r.status == 1 && r.out.empty()) << arguments;
  }
  EXPECT_EQ(program.listing("."), before);
}

TEST_F(Program, Pads) {
  put("grey.pgm", "P2 2 2 255 1 2 3 4");
  put("colour.ppm", "P3 2 1 255 1 2 3 4 5 6");
  const std::tuple<std::string, std::string, std::string> cases[] = {
      {"grey.pgm out.pgm", "--left 1 --bottom 2", "3x4x1: 1 1 2 3 3 4 3 3 4 3 3 4"},
      {"grey.pgm out.pgm", "--top 1 --right 1 --border const --value 9", "3x3x1: 9 9 9 1 2 9 3 4 9"},
      {"colour.ppm out.ppm", "--left 1 --top 1 --border replicate", "3x2x3: 1 2 3 1 2 3 4 5 6 1 2 3 1 2 3 4 5 6"},
      {"colour.ppm out.ppm", "--left 1 --right 1 --border const", "4x1x3: 0 0 0 1 2 3 4 5 6 0 0 0"}};
  for (const auto& [names, options, expected] : cases) {
    ASSERT_EQ(run("pad " + names + " " + options).status, 0);
    EXPECT_EQ(picture(names.substr(names.find("out"))), expected) << options;
  }
  expect_failures(*this, {{"pad grey.pgm b.pgm --left 65535",
                           "grey.pgm: a size of 65537x2 is not supported, sides have 1 to 65535 pixels"},
                          {"pad colour.ppm b.pgm", "colour.ppm: cannot write b.pgm: a PGM file cannot hold colour"}});
}

TEST_F(Program, FindsWhatStandsOutFromTheBackground) {
  put("in/1.pgm", "P2 3 2 255 100 100 100   0 255  10");
  put("in/2.pgm", "P2 3 2 255 100 140 102   0 255  10");
  put("in/3.ppm", "P3 3 2 255 131 131 131 80 80 80 130 130 130 255 255 255 255 255 255 11 11 11");
  // The average is 100 110 100.5 / 0 255 10; the last frame differs from it, rounded, by 31 30 29 / 255 0 1.
  Run r = run("background in out.pgm --average average.pgm --alpha 0.25");
  EXPECT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, "in/3.ppm: 2 of 6 pixels stand out from 2 frames\n");
  EXPECT_EQ(picture("out.pgm"), "3x2x1: 255 0 0 255 0 0");
  EXPECT_EQ(picture("average.pgm"), "3x2x1: 100 110 101 0 255 10");
  EXPECT_EQ(run("background in/1.pgm in/2.pgm in/3.ppm out.pgm --alpha 1 --threshold 254 --threads 2").status, 0);
  EXPECT_EQ(picture("out.pgm"), "3x2x1: 0 0 0 255 0 0");
  EXPECT_EQ(run("background in/1.pgm in/3.ppm out.pgm --alpha 0 --threshold 0").status, 0);
  EXPECT_EQ(picture("out.pgm"), "3x2x1: 255 255 255 255 0 255");

  put("wide.pgm", "P2 4 1 255 1 2 3 4");
  put("bad.pgm", "P2 3 2 255 1");
  expect_failures(*this,
                  {{"background in/1.pgm b.pgm", "in/1.pgm: two frames are needed at least"},
                   {"background in wide.pgm b.pgm", "wide.pgm: its size of 4x1 differs from that of in/1.pgm, 3x2"},
                   {"background in/1.pgm missing.pgm b.pgm", "missing.pgm: No such file or directory"},
                   {"background bad.pgm in b.pgm", "bad.pgm: the samples are cut short"},
                   {"background in in/1.pgm b.pgm --average in/2.pgm", "in/2.pgm: would overwrite an input"},
                   {"background in in/../in/1.pgm", "in/../in/1.pgm: would overwrite an input"},
                   {"background in no/b.pgm", "no/b.pgm: No such file or directory"}});
}

TEST_F(Program, MeasuresPictures) {
  put("grey.pgm", "P2 3 1 255 3 4 200");
  put("other.pgm", "P2 3 1 255 0 8 9");
  put("two.ppm", "P3 3 1 255 0 0 1  7 7 7  0 0 0");  // the first is black as grey
  put("none.pgm", "P2 3 1 255 0 0 0");
  put("colour.ppm", "P3 2 2 255 1 2 3  5 2 0  1 9 3  7 2 3");
  put("white.pgm", "P5 4000 3000 255\n" + std::string(12000000, '\xff'));  // its sum takes more than 32 bits
  put("black.pgm", "P5 4000 3000 255\n" + std::string(12000000, '\0'));
  const std::pair<std::string, std::string> cases[] = {
      {"stats grey.pgm --against other.pgm --mask two.ppm --json --threads 2",
       R"({"width": 3, "height": 1, "selected": 2, "channels": [
  {"channel": 1, "mean": 3.5, "deviation": 0.5,
   "minimum": {"value": 3, "x": 0, "y": 0}, "maximum": {"value": 4, "x": 1, "y": 0},
   "norm": {"inf": 4, "l1": 7, "l2": 5},
   "difference": {"inf": 4, "l1": 7, "l2": 5},
   "relative": {"inf": 0.5, "l1": 0.875, "l2": 0.625}}
]}
)"},
      {"stats grey.pgm --against none.pgm --json", R"("relative": {"inf": null, "l1": null, "l2": null})"},
      {"stats colour.ppm --channel 2", R"(2x2 pixels, 4 selected
                           green
mean                        3.75
deviation            3.031088913
minimum                        2
  first at x,y               0,0
maximum                        9
  first at x,y               0,1
norm Inf                       9
norm L1                       15
norm L2              9.643650761
)"},
      {"stats colour.ppm", "norm L2              8.717797887     9.643650761     5.196152423\n"},
      {"stats grey.pgm --against other.pgm --mask none.pgm", R"(difference L2                  0
relative Inf                 nan
relative L1                  nan
relative L2                  nan
)"},
      {"stats black.pgm --against white.pgm --json --threads 1", R"("difference": {"inf": 255, "l1": 3.06e+09,)"},
      {"stats black.pgm --against white.pgm --json --threads 1", R"("relative": {"inf": 1, "l1": 1, "l2": 1})"}};
  for (const auto& [arguments, part] : cases) {
    const std::string out = run(arguments).out;
    EXPECT_NE(out.find(part), std::string::npos) << arguments << '\n' << out;
  }

  expect_failures(
      *this, {{"stats missing.pgm", "missing.pgm: No such file or directory"},
              {"stats grey.pgm --channel 2", "grey.pgm: a grey picture has no channel 2"},
              {"stats grey.pgm --mask colour.ppm", "colour.ppm: its size of 2x2 differs from that of grey.pgm, 3x1"},
              {"stats grey.pgm --against missing.pgm", "missing.pgm: No such file or directory"}});
  put("colour.ppm", "P3 3 1 255 1 2 3 4 5 6 7 8 9");
  expect_failures(*this, {{"stats grey.pgm --against colour.ppm",
                           "colour.ppm: one of it and grey.pgm is grey, the other has colours"}});
}

TEST_F(Program, FailedWritesLeaveNothing) {
  put("in.pgm", "P5 100 100 255\n" + std::string(10000, '\0'));
  put("out/in.pgm", "old");
  const Run r = run("edges in.pgm out --format pgm", "ulimit -f 1");
  EXPECT_EQ(r.status, 1);
  EXPECT_NE(r.err.find("File too large"), std::string::npos) << r.err;
  EXPECT_EQ(listing("out"), "in.pgm ");
  EXPECT_EQ(text(path("out/in.pgm")), "old");
  fs::create_directories(path("target/in.pgm"));
  EXPECT_EQ(run("edges in.pgm target --format pgm").status, 1) << "a folder has the output's name";
  EXPECT_EQ(listing("target"), "in.pgm ");
  EXPECT_EQ(run("edges in.pgm in.pgm/x/").status, 1) << "the output folder cannot be created";
}

}  // namespace
