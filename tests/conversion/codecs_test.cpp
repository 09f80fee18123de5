// Every record of the codec registry, walked: a format that lands is covered here the
// day its record is in the registry, with no change to this file.
#include <gtest/gtest.h>

#include <filesystem>

#include "conversion/convert.h"
#include "conversion/format_table.h"
#include "platform/files.h"
#include "tavlin/convert.h"
#include "tavlin/design.h"
#include "tavlin/error.h"
#include "test_support.h"

namespace tavlin {
namespace {

std::vector<const Codec*> WrittenCodecs() {
  std::vector<const Codec*> codecs;
  for (const Codec* const* at = CodecsBegin(); at != CodecsEnd(); ++at) {
    if (IsNamedFormat(**at) && (*at)->Writes()) codecs.push_back(*at);
  }
  // The walk is over the registry's records, and there are some.
  EXPECT_FALSE(codecs.empty());
  return codecs;
}

// A name of the format, "design.DST", "design.U01".
std::string NameOf(const Codec& codec, const std::string& base) {
  if (!codec.nameEnd.empty()) return base + std::string(codec.nameEnd);
  return base + std::string(codec.extension);
}

// A file of the format read back through the formats it is read only into, the last
// of which reads into anything.
std::string Readable(const std::string& path, const Codec& codec) {
  std::string at = path;
  const Codec* through = &codec;
  while (!through->readOnlyInto.empty()) {
    const std::string_view next = through->readOnlyInto.substr(0, through->readOnlyInto.find(' '));
    through = &CodecOf(FindFormatCode(next));
    const std::string nextPath = at + "." + std::string(next);
    EXPECT_EQ(Convert(at, nextPath).value(), 0) << nextPath;
    at = nextPath;
  }
  return at;
}

// The bytes a codec's end writer appends behind a head of 512 bytes; what it fills in
// by seeking back into the head stays inside those.
std::string EndRecordOf(const Codec& codec, const std::string& scratch) {
  if (codec.writeEnd == nullptr) return {};
  test::WriteBytes(scratch, std::string(512, ' '));
  PlatformState platform;
  ConversionSettings settings(platform);
  settings.AsOtherProgramsDo = true;  // as the library writes the file
  ConversionRun run(settings);
  run.SetTypes(kCodeDst, codec.code);
  run.dest = BufferedFile(OpenFile(platform, scratch));
  run.dest.Seek(512);
  run.Dest->writeEnd(run);
  run.dest.Close();
  return test::ReadBytes(scratch).substr(512);
}

// The sample: jumps to start, three colours, jumps between the colours: a run of six
// behind the first colour, which formats that draw trims as jumps read as a trim.
std::string Sample() {
  using test::Rec;
  std::vector<Rec> records = {{KindJump, 40, 40}, {KindJump, 40, 0}};
  for (int colour = 0; colour < 3; ++colour) {
    for (int i = 0; i < 12; ++i) {
      records.push_back({KindStitch, static_cast<int16_t>(i % 2 == 0 ? 30 : -20),
                         static_cast<int16_t>(5 + colour)});
    }
    if (colour == 0) {
      for (int i = 0; i < 6; ++i) records.push_back({KindJump, 20, -15});
    } else {
      records.push_back({KindJump, 120, -90});
    }
    if (colour < 2) records.push_back({KindColour, 0, 0});
  }
  return test::DstFile(records);
}

TEST(EveryCodec, TheSampleDesignRoundTrips) {
  test::TempDir dir;
  const std::string source = dir / "sample.DST";
  test::WriteBytes(source, Sample());
  const std::vector<test::Needle> expected = test::NeedlesOf(source);
  ASSERT_EQ(expected.size(), 38u);  // 36 stitches, 2 colour changes
  for (const Codec* codec : WrittenCodecs()) {
    const std::string out = dir / NameOf(*codec, "out");
    ASSERT_EQ(Convert(source, out).value(), 0) << codec->family;
    const std::string readable = Readable(out, *codec);
    // The formats read only into others carry their own function codes: they are
    // seen to convert, and their design is the subject of their own tests.
    if (readable != out) continue;
    const std::string back = dir / NameOf(*codec, "back") + ".DST";
    ASSERT_EQ(Convert(out, back).value(), 0) << codec->family;
    // Every needle where it was, counted from the start.
    EXPECT_EQ(test::NeedlesOf(back), expected) << codec->family;
  }
}

TEST(EveryCodec, AnEmptySourceGivesTheFormatsEmptyFileWithItsEndRecordLast) {
  test::TempDir dir;
  const std::string source = dir / "empty.DST";
  test::WriteBytes(source, std::string(512, ' ') + test::Bytes({0x00, 0x00, 0xF3}));
  for (const Codec* codec : WrittenCodecs()) {
    const std::string out = dir / NameOf(*codec, "empty");
    ASSERT_EQ(Convert(source, out).value(), 0) << codec->family;
    const std::string bytes = test::ReadBytes(out);
    const std::string readable = Readable(out, *codec);
    if (readable == out) {
      int records = 0;
      ASSERT_EQ(ReadDesign(out, [&records](const DesignStep& s) {
                  if (s.kind == StepKind::Stitch) ++records;
                }).value(),
                0);
      EXPECT_EQ(records, 0) << codec->family;
    }
    if (codec->Wrapper()) {
      // The wrapper pads to whole blocks of 12 and counts them in its first two bytes.
      ASSERT_EQ(bytes.size() % 12, 0u) << codec->family;
      const auto blocks = static_cast<uint8_t>(bytes[0]) | static_cast<uint8_t>(bytes[1]) << 8;
      EXPECT_EQ(static_cast<size_t>(blocks), bytes.size() / 12)
          << codec->family;
      continue;
    }
    const std::string end = EndRecordOf(*codec, dir / "end.bin");
    ASSERT_GE(bytes.size(), end.size()) << codec->family;
    EXPECT_EQ(bytes.substr(bytes.size() - end.size()), end) << codec->family;
  }
}

TEST(EveryCodec, AFailedRunLeavesTheDestinationAsItWas) {
  test::TempDir dir;
  // A long run of one-way steps: the 16-bit sums overflow in every format.
  std::vector<test::Rec> records(400, {KindStitch, 121, 0});
  test::WriteBytes(dir / "wide.DST", test::DstFile(records));
  for (const Codec* codec : WrittenCodecs()) {
    if (codec->carriesQepRecords) continue;  // it moves nothing: nothing overflows
    const std::string out = dir / NameOf(*codec, "kept");
    test::WriteBytes(out, "what stood");
    EXPECT_NE(Convert(dir / "wide.DST", out).value(), 0) << codec->family;
    EXPECT_EQ(test::ReadBytes(out), "what stood") << codec->family;
  }
}

// Every ordered pair of written formats, as the command converts them: the sample into
// A, A into B, B into DST. Every route that is accepted arrives with the source's
// stitches and colour changes; every one refused leaves no file.
TEST(EveryCodec, EveryPairOfFormatsKeepsTheDesignOrRefuses) {
  test::TempDir dir;
  const std::string source = dir / "sample.DST";
  test::WriteBytes(source, Sample());
  const std::vector<test::Needle> expected = test::NeedlesOf(source);
  int kept = 0, refused = 0;
  for (const Codec* a : WrittenCodecs()) {
    const std::string inA = dir / NameOf(*a, "a");
    ASSERT_EQ(Convert(source, inA).value(), 0) << a->family;
    for (const Codec* b : WrittenCodecs()) {
      const std::string inB = dir / NameOf(*b, "b");
      const std::string back = dir / "back.DST";
      std::filesystem::remove(inB);
      std::filesystem::remove(back);
      const std::error_code toB = Convert(inA, inB);
      const std::error_code toDst = toB ? toB : Convert(inB, back);
      if (toB || toDst) {
        ++refused;
        EXPECT_EQ(toB ? toB.category() : toDst.category(), ConvertCategory())
            << a->family << " to " << b->family << ": " << (toB ? toB : toDst).message();
        EXPECT_FALSE(std::filesystem::exists(toB ? inB : back)) << a->family << " to " << b->family;
        continue;
      }
      ++kept;
      EXPECT_EQ(test::NeedlesOf(back), expected) << a->family << " to " << b->family;
    }
  }
  // Most pairs keep the design; those through CND and QCD are read only into each other.
  EXPECT_GT(kept, refused);
}

}  // namespace
}  // namespace tavlin
