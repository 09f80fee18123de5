// The PES writer byte by byte: the hoop and turn of the head, the stitch blocks and
// colour log, the PEC head, stitch head and stream in all their forms, the pictures
// and the tail; designs made into QEP by the library and read back from the PEC stream.
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <filesystem>

#include "conversion/formats/pec_block.h"
#include "conversion/text_header.h"
#include "tavlin/convert.h"
#include "tavlin/design.h"
#include "test_support.h"

namespace tavlin {
namespace {

using test::Bytes;

int U16(const std::string& b, size_t at) {
  return static_cast<uint8_t>(b[at]) | static_cast<uint8_t>(b[at + 1]) << 8;
}
int S16(const std::string& b, size_t at) { return static_cast<int16_t>(U16(b, at)); }

// A QEP record: function code and absolute position, Y down.
struct QepRec {
  int code;
  int x, y;
};

// A QEP whose text header gives these extents and threads, with its records between
// the opening and the end record.
std::string QepFile(int plusX, int minusX, int plusY, int minusY, const std::vector<QepRec>& records,
                    const std::vector<std::array<uint8_t, 3>>& threads = {{0, 0, 0}}) {
  std::string bytes = DiscReadHeader("DESIGN", "QEP", plusX, minusX, plusY, minusY);
  bytes.resize(512, ' ');
  bytes.replace(103, 2, IntToBytes2(static_cast<double>(threads.size())));
  for (size_t i = 0; i < threads.size(); ++i) {
    for (size_t c = 0; c < 3; ++c) bytes[113 + 3 * i + c] = static_cast<char>(threads[i][c]);
  }
  bytes += Bytes({5, 0, 0, 0, 0});
  for (const QepRec& r : records) {
    bytes += static_cast<char>(r.code);
    bytes += IntToBytes2(r.x);
    bytes += IntToBytes2(r.y);
  }
  return bytes + Bytes({6, 0, 0, 0, 0});
}

struct Block {
  int kind = 0, palette = 0;
  std::vector<std::pair<int, int>> points;
};

// A PES file taken apart by the layout an independent reader relies on.
struct Pes {
  std::string bytes;
  std::string version;
  size_t sections = 0, pec = 0;
  std::vector<Block> blocks;
  std::vector<int> log;  // the colour log's 2-byte values
  int colours = 0;
  std::string pecColours;
  size_t stream = 0, streamBytes = 0;
  int width = 0, height = 0, startX = 0, startY = 0;
  std::vector<std::string> pictures;
  std::string tail;  // behind the last picture's rows
};

int StartOf(const std::string& b, size_t at) {
  return (static_cast<uint8_t>(b[at]) - 0x90) * 256 + static_cast<uint8_t>(b[at + 1]);
}

Pes Parse(const std::string& bytes) {
  Pes pes;
  pes.bytes = bytes;
  EXPECT_GE(bytes.size(), 104u);
  if (bytes.size() < 104) return pes;
  pes.version = bytes.substr(0, 8);
  pes.sections = pes.version == "#PES0040" ? 49 : 16;
  pes.pec = static_cast<size_t>(U16(bytes, 8) | U16(bytes, 10) << 16);
  EXPECT_EQ(bytes.substr(pes.sections + 8, 7), "CEmbOne");
  EXPECT_EQ(bytes.substr(pes.sections + 81, 7), "CSewSeg");
  const int blocks = U16(bytes, pes.sections + 73);
  size_t at = pes.sections + 88;
  for (int i = 0; i < blocks && at + 6 <= bytes.size(); ++i) {
    if (i > 0) {
      EXPECT_EQ(bytes.substr(at, 2), Bytes({0x03, 0x80})) << "block " << i;
      at += 2;
    }
    Block block;
    block.kind = U16(bytes, at);
    block.palette = U16(bytes, at + 2);
    const int count = U16(bytes, at + 4);
    at += 6;
    for (int p = 0; p < count && at + 4 <= bytes.size(); ++p, at += 4) {
      block.points.emplace_back(S16(bytes, at), S16(bytes, at + 2));
    }
    pes.blocks.push_back(block);
  }
  const int logColours = U16(bytes, at);
  for (int i = 0; i < 2 * logColours + 2 && at + 2 <= bytes.size(); ++i, at += 2) {
    pes.log.push_back(U16(bytes, at));
  }
  // Six zero bytes, then the PEC block.
  EXPECT_EQ(bytes.substr(at, 6), std::string(6, '\0'));
  EXPECT_EQ(at + 6, pes.pec);
  if (pes.pec + 532 > bytes.size()) return pes;
  const size_t p = pes.pec;
  EXPECT_EQ(bytes.substr(p, 3), "LA:");
  EXPECT_EQ(bytes[p + 19], '\x0D');
  EXPECT_EQ(bytes.substr(p + 32, 4), Bytes({0xFF, 0x00, 0x06, 0x26}));
  pes.colours = static_cast<uint8_t>(bytes[p + 48]) + 1;
  pes.pecColours = bytes.substr(p + 49, static_cast<size_t>(pes.colours));
  EXPECT_EQ(bytes.substr(p + 512, 2), Bytes({0, 0}));
  const size_t count = static_cast<uint8_t>(bytes[p + 514]) | static_cast<uint8_t>(bytes[p + 515]) << 8 |
                       static_cast<uint8_t>(bytes[p + 516]) << 16;
  EXPECT_EQ(bytes.substr(p + 517, 3), Bytes({0x31, 0xFF, 0xF0}));
  pes.width = U16(bytes, p + 520);
  pes.height = U16(bytes, p + 522);
  EXPECT_EQ(bytes.substr(p + 524, 4), Bytes({0xE0, 0x01, 0xB0, 0x01}));
  pes.startX = StartOf(bytes, p + 528);
  pes.startY = StartOf(bytes, p + 530);
  pes.stream = p + 532;
  pes.streamBytes = count - 21;
  size_t pictures = pes.stream + pes.streamBytes;
  EXPECT_EQ(bytes.substr(pictures, 7), Bytes({0xFF, 0, 0, 0, 0, 0, 0}));
  pictures += 7;
  for (int i = 0; i <= pes.colours && pictures + 228 <= bytes.size() + 12; ++i, pictures += 228) {
    pes.pictures.push_back(bytes.substr(pictures, 216));
  }
  pes.tail = bytes.substr(pictures - 228 + 216);
  return pes;
}

// Where the PEC stream puts the needle: the stitch head's start less half the size,
// then each record. A record followed by a colour change record is that change's
// movement; a long jump lands with a stitch of no movement, except the one that opens
// the stream (the first stitch's far half). The library's stream sews its start only
// where its first record is a stitch that leaves it.
struct PecNeedle {
  int x, y;
  char what;  // 's' stitch, 'j' long jump, 'c' colour change
  bool operator==(const PecNeedle& o) const { return x == o.x && y == o.y && what == o.what; }
};
void PrintTo(const PecNeedle& n, std::ostream* out) { *out << n.what << "(" << n.x << ", " << n.y << ")"; }

int PecAxis(const std::string& b, size_t& at, bool& jump) {
  const int first = static_cast<uint8_t>(b[at++]);
  if (first < 0x80) return first < 0x40 ? first : first - 128;
  const int second = static_cast<uint8_t>(b[at++]);
  if (first == 0x80) return second;
  if (first == 0x8F) return second - 256;
  jump = true;
  const int v = (first & 0x0F) << 8 | second;
  return v >= 0x800 ? v - 0x1000 : v;
}

// The stream as the machine sews it. The class's change takes the place of the record
// ahead of it; the library's changes the thread where the needle stands (`library`).
std::vector<PecNeedle> PecNeedles(const Pes& pes, bool library = false) {
  std::vector<PecNeedle> out;
  const std::string& b = pes.bytes;
  int x = pes.startX - pes.width / 2, y = pes.startY - pes.height / 2;
  size_t at = pes.stream;
  const size_t end = pes.stream + pes.streamBytes;
  auto isLong = [&b](size_t i) { return static_cast<uint8_t>(b[i]) >= 0x90 && static_cast<uint8_t>(b[i]) <= 0xAF; };
  if (!library && at + 6 <= end && isLong(at) && !(b[at + 4] == 0 && b[at + 5] == 0)) {
    bool jump = false;
    x += PecAxis(b, at, jump);
    y += PecAxis(b, at, jump);
  }
  bool sewsStart = end > pes.stream;
  if (library && sewsStart) {
    size_t first = at;
    bool jump = static_cast<uint8_t>(b[first]) == 0xFE;
    const bool moves = !jump && (PecAxis(b, first, jump) != 0) + (PecAxis(b, first, jump) != 0) > 0;
    sewsStart = !jump && moves;
  }
  if (sewsStart) out.push_back({x, y, 's'});
  while (at < end) {
    if (static_cast<uint8_t>(b[at]) == 0xFE && static_cast<uint8_t>(b[at + 1]) == 0xB0) {
      if (library) {
        out.push_back({x, y, 'c'});
      } else {
        out.back().what = 'c';
      }
      at += 3;
      continue;
    }
    bool jump = false;
    x += PecAxis(b, at, jump);
    y += PecAxis(b, at, jump);
    out.push_back({x, y, jump ? 'j' : 's'});
  }
  return out;
}

// The class's converter, with the host's last destination naming the design.
struct ClassRun {
  explicit ClassRun(std::string name = "A:\\DESIGN.PES") { convert.shared->LastDestFile = name; }
  int16_t operator()(const std::string& from, const std::string& to) { return convert(from, to); }
  std::string Hoop() const { return convert.shared->HoopSizeText; }
  test::Converter convert;
};

// A few stitches over a design whose head gives the size.
std::vector<QepRec> FewStitches() { return {{0, 0, 0}, {0, 10, 10}, {0, 20, 0}}; }

// Width and height as `info` gives them.
std::pair<double, double> SizeOf(const std::string& path) {
  DesignSummary s;
  EXPECT_EQ(SummariseDesign(path, s).value(), 0) << path;
  return {s.plusX + s.minusX, s.plusY + s.minusY};
}

// The library's converter, which says whether it turned the design.
struct LibraryRun {
  int16_t operator()(const std::string& from, const std::string& to) {
    PlatformState platform;
    ConversionSettings settings(platform);
    test::RecordingProgress progress;
    settings.progress = &progress;
    settings.AsOtherProgramsDo = true;
    settings.DesignName = to;
    int16_t sourceType = FindFormatCode(from), destType = FindFormatCode(to);
    std::string resolved;
    const int16_t result = ConvertStitchFile(settings, sourceType, destType, from, to, resolved);
    turned = settings.TurnedToFit;
    return result;
  }
  bool turned = false;
};

// The class sizes the hoop by twice the extents from the start too, and turns a design
// that fits as it lies; the library takes the design's box, and turns only where
// nothing else fits.
TEST(PesHead, TheHoopAndTurnFollowTheHeadsSize) {
  test::TempDir dir;
  struct Case {
    int plusX, minusX, plusY, minusY;
    const char* version;
    int hoopField;  // offset 12
    const char* hoop;
    const char* libraryVersion;
    int libraryHoopField;
    bool libraryTurned;
  };
  const Case cases[] = {
      {750, 750, 500, 500, "#PES0001", 1, "130x180", "#PES0040", 1, false},  // 1500 x 1000: 130 x 180, turned
      {500, 500, 500, 500, "#PES0001", 0, "100x100", "#PES0001", 0, false},  // 1000 x 1000
      {850, 850, 700, 700, "#PES0040", 1, "160x260", "#PES0040", 1, false},  // 1700 x 1400: across the large hoop
      {600, 600, 850, 850, "#PES0001", 1, "180x130", "#PES0001", 1, false},  // 1200 x 1700: 130 x 180 upright
      {1000, 1000, 1400, 1400, "#PES0040", 1, "200x300", "#PES0040", 1, false},  // 2000 x 2800 upright
      {1400, 1400, 1000, 1000, "#PES0040", 1, "200x300", "#PES0040", 1, true},   // 2800 x 2000 across
      {700, 700, 1200, 1200, "#PES0040", 1, "260x160", "#PES0040", 1, false},  // 1400 x 2400 upright
      {760, 0, 120, 120, "#PES0001", 1, "130x180", "#PES0001", 0, false},  // 76 x 24 mm from its left end
      {1000, 1500, 500, 500, "#PES0040", 1, "160x260", "#PES0040", 1, true},  // 2500 x 1000 only across
  };
  for (const Case& c : cases) {
    test::WriteBytes(dir / "d.QEP", QepFile(c.plusX, c.minusX, c.plusY, c.minusY, FewStitches()));
    ClassRun run;
    ASSERT_EQ(run(dir / "d.QEP", dir / "d.PES"), 0) << c.hoop;
    const std::string pes = test::ReadBytes(dir / "d.PES");
    EXPECT_EQ(pes.substr(0, 8), c.version) << c.hoop;
    EXPECT_EQ(U16(pes, 12), c.hoopField) << c.hoop;
    EXPECT_EQ(run.Hoop(), c.hoop);
    LibraryRun library;
    ASSERT_EQ(library(dir / "d.QEP", dir / "l.PES"), 0) << c.plusX;
    const std::string ours = test::ReadBytes(dir / "l.PES");
    EXPECT_EQ(ours.substr(0, 8), c.libraryVersion) << c.plusX;
    EXPECT_EQ(U16(ours, 12), c.libraryHoopField) << c.plusX;
    EXPECT_EQ(library.turned, c.libraryTurned) << c.plusX;
  }
  // A design that only fits turned: the library turns it into the stream, says so, and
  // its section's transform turns the upright blocks a quarter clockwise. Read back, by
  // the library and by the class (whose head flag it also sets), it lies as it did.
  std::vector<test::Rec> wide = {{KindJump, -100, 0}};
  for (int i = 0; i < 25; ++i) wide.push_back({KindStitch, 100, static_cast<int16_t>(i % 2 == 0 ? 40 : -40)});
  test::WriteBytes(dir / "wide.DST", test::DstFile(wide));
  ASSERT_EQ(Convert(dir / "wide.DST", dir / "wide.QEP").value(), 0);
  LibraryRun library;
  ASSERT_EQ(library(dir / "wide.QEP", dir / "wide.PES"), 0);
  EXPECT_TRUE(library.turned);
  const std::string turned = test::ReadBytes(dir / "wide.PES");
  EXPECT_EQ(turned.substr(49 + 31, 16), IntToBytes4(0) + Bytes({0, 0, 0x80, 0x3F, 0, 0, 0x80, 0xBF}) +
                                            IntToBytes4(0));
  const Pes parsed = Parse(turned);
  EXPECT_EQ(parsed.width, 40);
  EXPECT_EQ(parsed.height, 2500);
  EXPECT_EQ(test::NeedlesOf(dir / "wide.PES"), test::NeedlesOf(dir / "wide.DST"));
  ClassRun back;
  ASSERT_EQ(back(dir / "wide.PES", dir / "back.DST"), 0);
  EXPECT_EQ(test::NeedlesOf(dir / "back.DST").size(), test::NeedlesOf(dir / "wide.DST").size());
  EXPECT_EQ(SizeOf(dir / "back.DST"), SizeOf(dir / "wide.PES"));
  EXPECT_EQ(SizeOf(dir / "wide.PES"), (std::pair<double, double>{2400, 40}));

  // Across the large hoop the head says so at 23 to 28.
  test::WriteBytes(dir / "d.QEP", QepFile(850, 850, 700, 700, FewStitches()));
  ClassRun run;
  ASSERT_EQ(run(dir / "d.QEP", dir / "d.PES"), 0);
  const std::string pes = test::ReadBytes(dir / "d.PES");
  EXPECT_EQ(pes.substr(14, 9), Bytes({0x30, 0x31, 0, 0, 0, 0, 0, 0, 0}));
  EXPECT_EQ(pes.substr(23, 6), Bytes({0x04, 0x01, 0xA0, 0x00, 0x01, 0x00}));
  EXPECT_EQ(pes.substr(29, 20), Bytes({7, 0, 19, 0, 0, 0, 1, 0, 1, 0, 25, 0, 1, 0, 0, 0, 0, 0, 0, 0}));
  EXPECT_EQ(Parse(pes).blocks.size(), 1u);
  // Upright in it, the fields are the other way round.
  test::WriteBytes(dir / "d.QEP", QepFile(700, 700, 1200, 1200, FewStitches()));
  ASSERT_EQ(run(dir / "d.QEP", dir / "d.PES"), 0);
  EXPECT_EQ(test::ReadBytes(dir / "d.PES").substr(23, 6), Bytes({0xA0, 0x00, 0x04, 0x01, 0x00, 0x00}));
}

TEST(PesHead, RunsThatCannotBeWrittenFailWithTheirCodeAndLeaveNoFile) {
  test::TempDir dir;
  auto fails = [&dir](const std::string& qep, const std::string& name, int code) {
    test::WriteBytes(dir / "d.QEP", qep);
    ClassRun run(name);
    EXPECT_EQ(run(dir / "d.QEP", dir / "d.PES"), code) << name;
    EXPECT_FALSE(std::filesystem::exists(dir / "d.PES")) << name;
  };
  // Beyond both limits: 3100 x 1000, and 2100 x 2100.
  fails(QepFile(1550, 1550, 500, 500, FewStitches()), "A:\\DESIGN.PES", -100);
  fails(QepFile(1050, 1050, 1050, 1050, FewStitches()), "A:\\DESIGN.PES", -100);
  // A head without sizes: the pictures' scale divides by zero.
  fails(QepFile(0, 0, 0, 0, FewStitches()), "A:\\DESIGN.PES", 11);
  // A name of fewer than four characters has nothing to cut.
  fails(QepFile(10, 10, 10, 10, FewStitches()), "A:\\PES", 5);
  // A design of no width, but a height, has a translation of 65536.
  fails(QepFile(0, 0, 10, 10, {{0, 0, 0}, {0, 0, 10}}), "A:\\DESIGN.PES", 6);
  // 129 colours overflow the pictures; 128 are written.
  std::vector<QepRec> many = {{0, 0, 0}};
  for (int i = 0; i < 128; ++i) many.push_back({2, 0, 0}), many.push_back({0, i % 2, 0});
  fails(QepFile(10, 10, 10, 10, many), "A:\\DESIGN.PES", 9);
  many.resize(many.size() - 2);
  test::WriteBytes(dir / "d.QEP", QepFile(10, 10, 10, 10, many));
  ClassRun run;
  ASSERT_EQ(run(dir / "d.QEP", dir / "d.PES"), 0);
  const Pes pes = Parse(test::ReadBytes(dir / "d.PES"));
  EXPECT_EQ(pes.colours, 128);
  EXPECT_EQ(pes.pictures.size(), 129u);

  // A source that is neither QEP nor VST: the class fails as its head gives no size,
  // the library goes by way of a QEP.
  test::WriteBytes(dir / "d.DST", test::DstFile({{KindStitch, 10, 10}, {KindStitch, -20, 5}}));
  ClassRun fromDst;
  EXPECT_EQ(fromDst(dir / "d.DST", dir / "d.PES"), 11);
  EXPECT_FALSE(std::filesystem::exists(dir / "d.PES"));
  EXPECT_EQ(Convert(dir / "d.DST", dir / "d.PES").value(), 0);
  EXPECT_EQ(Parse(test::ReadBytes(dir / "d.PES")).bytes.substr(0, 8), "#PES0001");
}

TEST(PesBlocks, BlocksColourLogAndBoxAsWritten) {
  test::TempDir dir;
  // A jump first, then stitches, two colour changes in a row, stitches, two jumps, a
  // stitch.
  const std::vector<QepRec> records = {
      {1, -100, 0}, {0, -90, 0}, {0, -80, 10}, {2, -80, 10}, {2, -80, 10},
      {0, 0, 0},    {0, 10, 0},  {1, 100, 20}, {1, 90, 20},  {0, 110, 20}};
  test::WriteBytes(dir / "d.QEP", QepFile(110, 100, 10, 20, records,
                                          {{0, 0, 0}, {255, 0, 0}, {0, 0, 255}}));
  ClassRun run;
  ASSERT_EQ(run(dir / "d.QEP", dir / "d.PES"), 0);
  const Pes pes = Parse(test::ReadBytes(dir / "d.PES"));
  // Centred: x from -100 to 110 moves by -5, y from 0 to 20 by -10.
  using P = std::vector<std::pair<int, int>>;
  ASSERT_EQ(pes.blocks.size(), 5u);
  EXPECT_EQ(U16(pes.bytes, 16 + 73), 5);
  EXPECT_EQ(pes.blocks[0].kind, 1);  // the first step is a jump
  EXPECT_EQ(pes.blocks[0].palette, 20);  // black
  EXPECT_EQ(pes.blocks[0].points, (P{{-105, -10}}));
  EXPECT_EQ(pes.blocks[1].kind, 0);
  EXPECT_EQ(pes.blocks[1].points, (P{{-95, -10}, {-85, 0}}));
  // The two changes are one: one block of the second colour, red (28).
  EXPECT_EQ(pes.blocks[2].kind, 0);
  EXPECT_EQ(pes.blocks[2].palette, 28);
  EXPECT_EQ(pes.blocks[2].points, (P{{-85, 0}, {-5, -10}, {5, -10}}));
  // A jump block from the last point, with the jumps read ahead into it, ending where
  // the needle lands; that stitch opens the next block.
  EXPECT_EQ(pes.blocks[3].kind, 1);
  EXPECT_EQ(pes.blocks[3].palette, 28);
  EXPECT_EQ(pes.blocks[3].points, (P{{5, -10}, {95, 10}, {85, 10}, {105, 10}}));
  EXPECT_EQ(pes.blocks[4].kind, 0);
  EXPECT_EQ(pes.blocks[4].points, (P{{105, 10}}));
  // The log: two colours; black from block 0, red from block 2.
  EXPECT_EQ(pes.colours, 2);
  EXPECT_EQ(pes.log, (std::vector<int>{2, 0, 20, 2, 28, 0}));
  EXPECT_EQ(pes.pecColours, Bytes({20, 28}));
  // Box: left -105, top -10, right 105, bottom 10, each plus 1000, twice.
  const std::string box = IntToBytes2(895) + IntToBytes2(990) + IntToBytes2(1105) + IntToBytes2(1010);
  EXPECT_EQ(pes.bytes.substr(16 + 15, 16), box + box);
  // Translation -105 as 65536 - 105, 10, then the size 210 x 20.
  EXPECT_EQ(pes.bytes.substr(16 + 57, 8),
            IntToBytes2(65536 - 105) + IntToBytes2(10) + IntToBytes2(210) + IntToBytes2(20));
}

// The stream's bytes of a file.
std::string StreamOf(const Pes& pes) { return pes.bytes.substr(pes.stream, pes.streamBytes); }

TEST(PesBlocks, ABoxCornerBelowZeroIsWrittenInTwosComplement) {
  test::TempDir dir;
  // 2200 wide, centred from -1100: the left edge plus 1000 is -100, bytes 0x9C 0xFF.
  std::vector<QepRec> wide = {{1, 0, 0}};
  for (int x = 0; x <= 2200; x += 100) wide.push_back({0, x, x % 200 == 0 ? 0 : 10});
  test::WriteBytes(dir / "w.QEP", QepFile(1100, 1100, 5, 5, wide));
  ClassRun run;
  ASSERT_EQ(run(dir / "w.QEP", dir / "w.PES"), 0);
  EXPECT_EQ(run.Hoop(), "160x260");
  const std::string pes = test::ReadBytes(dir / "w.PES");
  const std::string box = Bytes({0x9C, 0xFF}) + IntToBytes2(995) + IntToBytes2(2100) + IntToBytes2(1005);
  EXPECT_EQ(pes.substr(49 + 15, 16), box + box);
}

TEST(PecStream, RecordFormsByValue) {
  struct Form {
    int value;
    std::string bytes;
  };
  const Form forms[] = {
      {0, Bytes({0x00})},         {63, Bytes({0x3F})},         {-1, Bytes({0x7F})},
      {-64, Bytes({0x40})},       {64, Bytes({0x80, 0x40})},   {126, Bytes({0x80, 0x7E})},
      {-65, Bytes({0x8F, 0xBF})}, {-126, Bytes({0x8F, 0x82})}, {127, Bytes({0xA0, 0x7F})},
      {255, Bytes({0xA0, 0xFF})}, {256, Bytes({0xA1, 0x00})},  {-127, Bytes({0xAF, 0x81})},
      {-256, Bytes({0xAF, 0x00})}, {-257, Bytes({0xAE, 0xFF})},
  };
  for (const Form& f : forms) {
    uint8_t out[2] = {0xEE, 0xEE};
    const size_t n = PutPecValue(out, f.value);
    EXPECT_EQ(std::string(reinterpret_cast<char*>(out), n), f.bytes) << f.value;
  }
  const Form longForms[] = {{0, Bytes({0xA0, 0x00})}, {1199, Bytes({0xA4, 0xAF})},
                            {-1, Bytes({0xAF, 0xFF})}, {-1200, Bytes({0xAB, 0x50})}};
  for (const Form& f : longForms) {
    uint8_t out[2];
    PutPecLongValue(out, f.value);
    EXPECT_EQ(std::string(reinterpret_cast<char*>(out), 2), f.bytes) << f.value;
  }
}

TEST(PecStream, StepsJumpsAndColourChangesAsTheyAreWritten) {
  test::TempDir dir;
  auto stream = [&dir](const std::vector<QepRec>& records, bool library = false) {
    test::WriteBytes(dir / "s.QEP", QepFile(500, 500, 500, 500, records));
    if (library) {
      EXPECT_EQ(Convert(dir / "s.QEP", dir / "s.PES").value(), 0);
    } else {
      ClassRun run;
      EXPECT_EQ(run(dir / "s.QEP", dir / "s.PES"), 0);
    }
    return StreamOf(Parse(test::ReadBytes(dir / "s.PES")));
  };
  // The first stitch is the head's start; 64 right and 64 down; long steps in halves:
  // 252 as two of 126, 254 as two of 127.
  const std::string forms = Bytes({0x80, 0x40, 0x80, 0x40, 0x80, 0x7E, 0x00, 0x80, 0x7E, 0x00,
                                   0xA0, 0x7F, 0x00, 0xA0, 0x7F, 0x00});
  EXPECT_EQ(stream({{1, 0, 0}, {0, 0, 0}, {0, 64, 64}, {0, 316, 64}, {0, 570, 64}}), forms);
  // Without the jump ahead, the first stitch carries the move to the centred start,
  // (-285, -32): the class sews both halves, so its first stitch is the first half
  // and the second half (-143, -16) a stitch. The library starts its stream where the
  // source starts, sews the first stitch there as a record of no length, moves every
  // first half as a jump, and lands the long stitches from a long jump: 12-bit values,
  // 0x90 over a jump's.
  const std::vector<QepRec> stitchFirst = {{0, 0, 0}, {0, 64, 64}, {0, 316, 64}, {0, 570, 64}};
  EXPECT_EQ(stream(stitchFirst), Bytes({0xAF, 0x71, 0x70}) + forms);
  EXPECT_EQ(stream(stitchFirst, true), Bytes({0x00, 0x00, 0x80, 0x40, 0x80, 0x40, 0x90, 0xFC, 0x90, 0x00,
                                              0x00, 0x00, 0x90, 0xFE, 0x90, 0x00, 0x00, 0x00}));
  // Jumps that sum to 1199 wait for the next stitch, which goes out with them as one
  // long jump and lands with a stitch of no movement.
  std::vector<QepRec> jumps = {{1, 0, 0}, {0, 0, 0}};
  for (int i = 1; i <= 11; ++i) jumps.push_back({1, 100 * i, 0});
  jumps.push_back({1, 1199, 0});
  jumps.push_back({0, 1204, 0});
  EXPECT_EQ(stream(jumps), Bytes({0xA4, 0xB4, 0xA0, 0x00, 0x00, 0x00}));
  // A jump that takes the sum to 1200 goes out at once; the class lands it with a
  // stitch, the library doesn't, as the design has none there.
  jumps.resize(13);
  jumps.push_back({1, 1200, 0});
  jumps.push_back({0, 1205, 0});
  EXPECT_EQ(stream(jumps), Bytes({0xA4, 0xB0, 0xA0, 0x00, 0x00, 0x00, 0x05, 0x00}));
  // The library's stream opens with the first jump and the stitch of no length it ends in.
  EXPECT_EQ(stream(jumps, true), Bytes({0x90, 0x00, 0x90, 0x00, 0x00, 0x00, 0x94, 0xB0, 0x90, 0x00,
                                        0x05, 0x00}));
  // A colour change while jumps wait goes behind their long jump, before its stitch.
  // Two changes in a row are one; the toggle goes 2, 1, 2.
  const std::vector<QepRec> changes = {{1, 0, 0},  {0, 0, 0},  {1, 50, 0}, {2, 50, 0}, {0, 60, 0},
                                       {2, 60, 0}, {2, 60, 0}, {0, 61, 0}, {2, 62, 0}, {0, 62, 1}};
  EXPECT_EQ(stream(changes),
            Bytes({0xA0, 0x3C, 0xA0, 0x00, 0xFE, 0xB0, 0x02, 0x00, 0x00,  // jump, change
                   0x00, 0x00, 0xFE, 0xB0, 0x01,                           // two changes
                   0x01, 0x00, 0x01, 0x00, 0xFE, 0xB0, 0x02, 0x00, 0x01}));
  // The library changes the thread where the jumps land and sews every stitch as a stitch
  // (a stitch read back as a change is a stitch lost); a change that moves goes on as a
  // jump.
  EXPECT_EQ(stream(changes, true),
            Bytes({0x90, 0x00, 0x90, 0x00, 0x00, 0x00,      // the opening jump and stitch
                   0x90, 0x32, 0x90, 0x00, 0xFE, 0xB0, 0x02,  // the jump lands, the change
                   0x0A, 0x00, 0xFE, 0xB0, 0x01,              // a stitch, two changes
                   0x01, 0x00, 0xFE, 0xB0, 0x02, 0x90, 0x01, 0x90, 0x00,  // one that moves
                   0x00, 0x01}));
  // Jumps ahead of the first stitch write nothing: its position is the head's start.
  test::WriteBytes(dir / "s.QEP", QepFile(500, 500, 500, 500, {{1, 100, 40}, {1, 200, 80}, {0, 200, 80}, {0, 0, 0}}));
  ClassRun run;
  ASSERT_EQ(run(dir / "s.QEP", dir / "s.PES"), 0);
  Pes pes = Parse(test::ReadBytes(dir / "s.PES"));
  // Centred by (-100, -40): the first stitch at (100, 40); size 200 x 80.
  EXPECT_EQ(pes.bytes.substr(pes.pec + 528, 4), Bytes({0x90, 0xC8, 0x90, 0x50}));
  // Then the step of -200, -80 in two halves: -100 (0x8F 0x9C), -40 (0x58).
  EXPECT_EQ(StreamOf(pes), Bytes({0x8F, 0x9C, 0x58, 0x8F, 0x9C, 0x58}));
}

TEST(PecStream, AFirstStitchFarFromTheMiddleIsReachedHalfByTheHead) {
  test::TempDir dir;
  // Centred, the first stitch stands at (900, 10): the head takes (450, 5), a long jump
  // the rest; then two halves of the step of -1800, -20.
  test::WriteBytes(dir / "f.QEP", QepFile(500, 500, 500, 500, {{1, 1800, 20}, {0, 1800, 20}, {0, 0, 0}}));
  ClassRun run;
  ASSERT_EQ(run(dir / "f.QEP", dir / "f.PES"), 0);
  Pes pes = Parse(test::ReadBytes(dir / "f.PES"));
  EXPECT_EQ(StreamOf(pes), Bytes({0xA1, 0xC2, 0xA0, 0x05, 0xAC, 0x7C, 0x76, 0xAC, 0x7C, 0x76}));
  EXPECT_EQ(pes.width, 1800);
  EXPECT_EQ(pes.height, 20);
  // 450 + 900 and 5 + 10.
  EXPECT_EQ(pes.bytes.substr(pes.pec + 528, 4), Bytes({0x95, 0x46, 0x90, 0x0F}));
  EXPECT_EQ(PecNeedles(pes).front(), (PecNeedle{900, 10, 's'}));

  // At (903, 11) the class's halves miss by two on X (452 in the head, 453 in the
  // jump). The library starts at the source's start, (-903, -11), and jumps to the first
  // stitch.
  test::WriteBytes(dir / "f.QEP", QepFile(500, 500, 500, 500, {{1, 1806, 22}, {0, 1806, 22}, {0, 0, 0}}));
  ASSERT_EQ(run(dir / "f.QEP", dir / "f.PES"), 0);
  pes = Parse(test::ReadBytes(dir / "f.PES"));
  EXPECT_EQ(StreamOf(pes).substr(0, 4), Bytes({0xA1, 0xC5, 0xA0, 0x06}));
  EXPECT_EQ(pes.bytes.substr(pes.pec + 528, 4), Bytes({0x95, 0x4B, 0x90, 0x10}));
  EXPECT_EQ(PecNeedles(pes).front(), (PecNeedle{905, 11, 's'}));
  ASSERT_EQ(Convert(dir / "f.QEP", dir / "f.PES").value(), 0);
  pes = Parse(test::ReadBytes(dir / "f.PES"));
  EXPECT_EQ(StreamOf(pes).substr(0, 6), Bytes({0x97, 0x0E, 0x90, 0x16, 0x00, 0x00}));
  EXPECT_EQ(PecNeedles(pes, true).front(), (PecNeedle{903, 11, 'j'}));
  EXPECT_EQ(PecNeedles(pes, true).at(1), (PecNeedle{903, 11, 's'}));
}

// The picture's rows inside the frame: 32 x 30 pixels, bit 0 leftmost.
std::string PictureRow(const std::string& picture, int row) { return picture.substr(6 * (4 + row) + 1, 4); }

TEST(PecPictures, OneColourGivesTwoEqualPicturesAndTheColourTableBehind) {
  test::TempDir dir;
  // A line across the whole width, from the middle: on picture row 15, columns 0 to 30.
  std::vector<QepRec> line;
  for (int x = -500; x <= 500; x += 100) line.push_back({0, x, 0});
  test::WriteBytes(dir / "l.QEP", QepFile(500, 500, 0, 0, line, {{0, 135, 119}}));
  ClassRun run("A:\\ABCDEFGHIJKLMNOP.PES");
  ASSERT_EQ(run(dir / "l.QEP", dir / "l.PES"), 0);
  const Pes pes = Parse(test::ReadBytes(dir / "l.PES"));
  // The name of 16 characters fills 3 to 18.
  EXPECT_EQ(pes.bytes.substr(pes.pec, 21), "LA:ABCDEFGHIJKLMNOP\x0D ");
  ASSERT_EQ(pes.colours, 1);
  EXPECT_EQ(pes.pecColours, Bytes({3}));
  // A longer name goes on behind the 0x0D.
  ClassRun longer("A:\\abcdefghijklmnopqrs.pes");
  ASSERT_EQ(longer(dir / "l.QEP", dir / "m.PES"), 0);
  const Pes named = Parse(test::ReadBytes(dir / "m.PES"));
  EXPECT_EQ(named.bytes.substr(named.pec, 24), "LA:ABCDEFGHIJKLMNOP\x0DQRS ");
  ASSERT_EQ(pes.pictures.size(), 2u);
  EXPECT_EQ(pes.pictures[0], pes.pictures[1]);
  const std::string frame = pes.pictures[0];
  EXPECT_EQ(frame.substr(0, 24), Bytes({0xF0, 0xFF, 0xFF, 0xFF, 0xFF, 0x0F, 0x08, 0, 0, 0, 0, 0x10,
                                        0x04, 0, 0, 0, 0, 0x20, 0x02, 0, 0, 0, 0, 0x40}));
  for (int row = 0; row < 30; ++row) {
    EXPECT_EQ(frame[6 * (4 + row)], row == 29 ? '\x04' : '\x02') << row;
    EXPECT_EQ(frame[6 * (4 + row) + 5], row == 29 ? '\x20' : '\x40') << row;
    EXPECT_EQ(PictureRow(frame, row), row == 15 ? Bytes({0xFF, 0xFF, 0xFF, 0x7F}) : std::string(4, '\0'))
        << row;
  }
  EXPECT_EQ(frame.substr(204, 12), Bytes({0x08, 0, 0, 0, 0, 0x10, 0xF0, 0xFF, 0xFF, 0xFF, 0xFF, 0x0F}));
  // Picture 0 ends in two rows of zeros; picture 1, the last, in the colour table.
  EXPECT_EQ(pes.bytes.substr(pes.stream + pes.streamBytes + 7 + 216, 12), std::string(12, '\0'));
  EXPECT_EQ(pes.tail, std::string(6, '\0') + Bytes({0, 3}) + std::string(126, ' '));
  EXPECT_EQ(pes.bytes.size(), pes.stream + pes.streamBytes + 7 + 2 * 228 - 12 + 6 + 2 + 126);
}

TEST(PecPictures, ADesignThatDoesNotStartInItsMiddleIsPlacedByTheFirstPassExtent) {
  test::TempDir dir;
  // The same line, started at its left end: the class places the centred points from
  // the measured least extent, 0, so only the right half is drawn; the library's
  // picture is the whole line.
  std::vector<QepRec> line;
  for (int x = 0; x <= 1000; x += 100) line.push_back({0, x, 0});
  test::WriteBytes(dir / "l.QEP", QepFile(500, 500, 0, 0, line));
  ClassRun run;
  ASSERT_EQ(run(dir / "l.QEP", dir / "l.PES"), 0);
  EXPECT_EQ(PictureRow(Parse(test::ReadBytes(dir / "l.PES")).pictures[1], 15),
            Bytes({0xFF, 0xFF, 0x00, 0x00}));
  ASSERT_EQ(Convert(dir / "l.QEP", dir / "l.PES").value(), 0);
  EXPECT_EQ(PictureRow(Parse(test::ReadBytes(dir / "l.PES")).pictures[1], 15),
            Bytes({0xFF, 0xFF, 0xFF, 0x7F}));
}

// A design in DST: jumps to start, zigzags in three colours, runs of jumps between
// them (one of them behind a colour change), the last long enough to be cut at 1200.
std::string RoundTripDesign(bool longRun) {
  std::vector<test::Rec> records = {{KindJump, 30, 20}, {KindJump, -60, 10}};
  for (int colour = 0; colour < 3; ++colour) {
    for (int i = 0; i < 25; ++i) {
      records.push_back({KindStitch, static_cast<int16_t>(i * 37 % 61 - 30 + colour),
                         static_cast<int16_t>(i * 53 % 41 - 20)});
    }
    if (colour == 0) {
      for (int i = 0; i < 4; ++i) records.push_back({KindJump, 90, -40});
      records.push_back({KindColour, 3, 4});
    } else if (colour == 1) {
      records.push_back({KindColour, 0, 0});
      for (int i = 0; i < 3; ++i) records.push_back({KindJump, -100, 30});
    } else if (longRun) {
      for (int i = 0; i < 12; ++i) records.push_back({KindJump, 110, 0});
      records.push_back({KindStitch, 5, 5});
    }
  }
  return test::DstFile(records);
}

TEST(PesHead, AHeadThatUnderstatesItsDesignStillConverts) {
  test::TempDir dir;
  // A head of 2 x 2 and steps that swing 2000 across: the picture's scale is 15 a unit,
  // and every line runs thousands of pixels past the picture; only the part near it is
  // walked, and the part over it is lit.
  std::vector<QepRec> swings = {{1, 0, 0}};
  for (int i = 0; i < 20000; ++i) swings.push_back({0, i % 2 == 0 ? 1000 : -1000, i % 3 == 0 ? 500 : -500});
  test::WriteBytes(dir / "w.QEP", QepFile(1, 1, 1, 1, swings));
  ClassRun run;
  ASSERT_EQ(run(dir / "w.QEP", dir / "w.PES"), 0);
  const Pes pes = Parse(test::ReadBytes(dir / "w.PES"));
  ASSERT_EQ(pes.pictures.size(), 2u);
  std::string lit;
  for (int row = 0; row < 30; ++row) lit += PictureRow(pes.pictures[1], row);
  EXPECT_NE(lit, std::string(lit.size(), '\0'));
}

TEST(PesRoundTrip, EveryNeedleOfAQepMadeByTheLibraryIsInTheStreamAndTheBlocks) {
  test::TempDir dir;
  for (const bool library : {false, true}) {
    for (const bool longRun : {false, true}) {
      if (longRun && !library) continue;  // the class lands a cut run with a stitch
      test::WriteBytes(dir / "r.DST", RoundTripDesign(longRun));
      ASSERT_EQ(Convert(dir / "r.DST", dir / "r.QEP").value(), 0);
      if (library) {
        ASSERT_EQ(Convert(dir / "r.QEP", dir / "r.PES").value(), 0);
      } else {
        ClassRun run;
        ASSERT_EQ(run(dir / "r.QEP", dir / "r.PES"), 0);
      }
      const Pes pes = Parse(test::ReadBytes(dir / "r.PES"));
      // The design's steps in the QEP; the class sews a trim as a stitch of no movement.
      const std::vector<test::Needle> all = test::NeedlesOf(dir / "r.QEP", true);
      long minX = 0, maxX = 0, minY = 0, maxY = 0;
      for (const test::Needle& n : all) {
        minX = std::min(minX, n.x), maxX = std::max(maxX, n.x);
        minY = std::min(minY, n.y), maxY = std::max(maxY, n.y);
      }
      // Centred on the middle of the extent: (|min| + |max|) / 2 - max, plus 0.1, rounded.
      auto centre = [](long lo, long hi) {
        return static_cast<int>(std::nearbyint(static_cast<double>(std::labs(lo) + std::labs(hi)) / 2.0 - static_cast<double>(hi) + 0.1));
      };
      const int dx = centre(minX, maxX), dy = centre(minY, maxY);
      std::vector<std::pair<int, int>> wanted;  // stitches, colour by colour
      std::vector<int> wantedColours;
      std::vector<std::pair<int, int>> wantedBlockPoints;  // stitches and changes
      for (const test::Needle& n : all) {
        // The library moves a trim as a jump; the class sews it.
        if (n.kind == KindJump || (library && n.kind == KindTrim)) continue;
        wantedBlockPoints.emplace_back(n.x + dx, n.y + dy);
        if (n.kind == KindColour) continue;
        wanted.emplace_back(n.x + dx, n.y + dy);
        wantedColours.push_back(n.colour);
      }
      std::vector<std::pair<int, int>> got;
      std::vector<int> gotColours;
      int colour = 1;
      for (const PecNeedle& n : PecNeedles(pes, library)) {
        if (n.what == 'c') ++colour;
        if (n.what != 's') continue;
        got.emplace_back(n.x, n.y);
        gotColours.push_back(colour);
      }
      EXPECT_EQ(got, wanted) << library << longRun;
      EXPECT_EQ(gotColours, wantedColours);
      EXPECT_EQ(colour, 3);
      EXPECT_EQ(pes.colours, 3);
      std::vector<std::pair<int, int>> blockPoints;
      for (const Block& b : pes.blocks) {
        if (b.kind == 0) blockPoints.insert(blockPoints.end(), b.points.begin(), b.points.end());
      }
      EXPECT_EQ(blockPoints, wantedBlockPoints);
    }
  }
}

TEST(PesStructure, WhatAReaderReliesOnStandsWhereItLooks) {
  test::TempDir dir;
  test::WriteBytes(dir / "r.DST", RoundTripDesign(true));
  ASSERT_EQ(Convert(dir / "r.DST", dir / "r.PES").value(), 0);
  const std::string bytes = test::ReadBytes(dir / "r.PES");
  const Pes pes = Parse(bytes);
  // 1400 wide, 1190 of it right of the start: the large hoop, upright.
  EXPECT_EQ(pes.version, "#PES0040");
  EXPECT_EQ(pes.sections, 49u);
  // The PEC block's offset at 8 points at its name; the block count at B + 73 counts
  // the blocks that stand before the colour log, each block's count its points.
  ASSERT_LT(pes.pec, bytes.size());
  EXPECT_EQ(bytes.substr(pes.pec, 3), "LA:");
  EXPECT_EQ(pes.blocks.size(), static_cast<size_t>(U16(bytes, 49 + 73)));
  // The log: the count, then (first block, palette) pairs from block 0, then 0.
  ASSERT_EQ(pes.log.size(), 8u);
  EXPECT_EQ(pes.log[0], 3);
  EXPECT_EQ(pes.log[1], 0);
  EXPECT_EQ(pes.log.back(), 0);
  for (int c = 1; c < 3; ++c) {
    const int first = pes.log[static_cast<size_t>(2 * c + 1)];
    ASSERT_LT(static_cast<size_t>(first), pes.blocks.size());
    EXPECT_EQ(pes.blocks[static_cast<size_t>(first)].palette, pes.log[static_cast<size_t>(2 * c + 2)]);
  }
  // The PEC head: name, colours; the stitch head's count reaches the end bytes, behind
  // which stand four pictures of 228 bytes, the last with the colour table.
  EXPECT_EQ(bytes.substr(pes.pec, 20), "LA:R" + std::string(15, ' ') + "\x0D");
  EXPECT_EQ(pes.colours, 3);
  EXPECT_EQ(pes.pictures.size(), 4u);
  EXPECT_EQ(bytes.size(), pes.stream + pes.streamBytes + 7 + 4 * 228 - 12 + 6 + 1 + 3 + 126);
  EXPECT_EQ(pes.tail.substr(6, 4), Bytes({2}) + pes.pecColours);
}

TEST(PesSamples, TheStarGoesByWayOfQepIntoTheSmallHoop) {
  test::TempDir dir;
  const std::string star = test::Samples() + "/Star.DST";
  ClassRun run;
  ASSERT_EQ(run(star, dir / "star.QEP"), 0);
  ASSERT_EQ(run(dir / "star.QEP", dir / "star.PES"), 0);
  EXPECT_EQ(run.Hoop(), "100x100");
  const Pes pes = Parse(test::ReadBytes(dir / "star.PES"));
  EXPECT_EQ(pes.version, "#PES0001");
  EXPECT_EQ(pes.width, 591);
  EXPECT_EQ(pes.height, 623);
  // Every stitch of the star and every colour change is in the stream.
  size_t stitches = 0;
  int colours = 1;
  for (const PecNeedle& n : PecNeedles(pes)) stitches += n.what == 's', colours += n.what == 'c';
  size_t wanted = 0;
  int wantedColours = 1;
  for (const test::Needle& n : test::NeedlesOf(dir / "star.QEP")) {
    wanted += n.kind != KindColour, wantedColours += n.kind == KindColour;
  }
  EXPECT_EQ(stitches, wanted);
  EXPECT_EQ(colours, wantedColours);
  EXPECT_EQ(pes.colours, wantedColours);

  // The library starts the stream where the DST starts: its jumps go in as one long jump
  // (12 bits under 0x90) to the first stitch, which the record of no length behind it
  // sews, so that every reader and the machine sew the star's 2,550 points; and the
  // design comes back where it was.
  LibraryRun library;
  ASSERT_EQ(Convert(star, dir / "ours.QEP").value(), 0);
  ASSERT_EQ(library(dir / "ours.QEP", dir / "ours.PES"), 0);
  const Pes ours = Parse(test::ReadBytes(dir / "ours.PES"));
  EXPECT_EQ(StreamOf(ours).substr(0, 6), Bytes({0x90, 0x01, 0x90, 0x97, 0x00, 0x00}));
  size_t sewn = 0;
  for (const PecNeedle& n : PecNeedles(ours, true)) sewn += n.what == 's';
  EXPECT_EQ(sewn, 2550u);
  EXPECT_EQ(test::NeedlesOf(dir / "ours.PES"), test::NeedlesOf(star));
}

}  // namespace
}  // namespace tavlin
