// Every family's bytes on the disc and the answers of its class calls, a row a case: a
// script of operations on a fresh disc (see ScriptedDisc::Run), then what the image holds
// at "track.head.sector+offset", what the last read file holds at "read+offset", and
// what the listing shows.
#include <gtest/gtest.h>

#include <map>
#include <utility>

#include "discs/disc_script.h"

namespace tavlin {
namespace {

struct Kind {
  const char* name;
  ImageFamily image;
  int16_t type;
  bool sound = false;  // a DOS disc as the library lays it
};
const Kind kFmc{"FMC", ImageFamily::Fmc, FMC}, kFdr3{"FDR3", ImageFamily::Fdr3, FDR3},
    kZsk{"ZSK", ImageFamily::Zsk, ZSKDisc}, kDos{"DOS", ImageFamily::Dos720, OtherDOS},
    kSound720{"DOS720", ImageFamily::Dos720, OtherDOS, true}, kSound1440{"DOS1440", ImageFamily::Dos1440, OtherDOS, true};

std::string Z(size_t n, char c = '\0') { return std::string(n, c); }
using test::Bytes;

// What a free ZSK table holds from block 9 on: each block leads to the next, the last to 0.
std::string FreeChain() {
  std::string chain;
  for (int block = 10; block <= 639; ++block) chain += IntToBytes2(block);
  return chain + Z(2);
}

struct Case {
  const char* what;
  Kind kind;
  const char* script;
  // "lines" (joined by '|'), "count", "last" (line), "free", "format", or where bytes stand
  std::vector<std::pair<const char*, std::string>> expected;
};

const Case kCases[] = {
    // FMC: a directory on track 2 head 0, an index of 36 records on head 1, 16-block entries.
    {"FMC blank", kFmc, "l=2",
     {{"free", "0"},
      {"2.0.1+0", Z(1) + "FILE    DIR" + Z(3) + "\x09\x01" + Z(15) + Z(224, '\xE5')},
      {"2.1.1+0", Z(256, ' ')}, {"2.1.10+0", Z(256, ' ')}, {"2.1.13+0", Z(128, ' ') + Z(128, '\xE5')},
      {"2.0.16+0", Z(256, '\xE5')}, {"79.1.14+0", Z(256, '\xE5')},
      {"80.0.1+0", Z(256)}, {"81.1.16+0", Z(256)}}},  // 80 tracks, whatever the kind
    // 1 jump, 20 stitches, 2 colour changes and the end record: 24 records, 72 bytes, so
    // (72 + 160) / 128 rounds to 2 in the entry's record byte.
    {"FMC one design", kFmc, "w20/40/-30/7 l r0~0",
     {{"lines", "A01     .DAT       24"}, {"format", "Barudan FMC"}, {"free", "387072"},
      {"2.0.1+32", Z(1) + "A01     DAT" + Z(3) + "\x02\x02" + Z(15)},
      {"2.1.13+96", "A01     FMC 01" + Z(18, ' ') + Z(128, '\xE5')},  // the 36th index record
      {"3.0.1+0", Bytes({0, 0, 0, 0, 0x00, 0x00, 0x24, 2})},         // the count packed, its number
      {"3.0.1+32", "FMC 01" + Z(18, ' ') + Z(70)},
      {"3.0.1+195", Bytes({0xF8, 0, 0})},                            // under 44 stitches: one sector
      {"3.0.4+0", Bytes({0xF8, 0, 0}) + Z(253)}}},                   // and the end record alone
    {"FMC extents", kFmc, "ws100,50;-120,-110 l r0",
     {{"3.0.1+8", IntToBytes2(20) + IntToBytes2(-100) + IntToBytes2(60) + IntToBytes2(-50)},
      {"read+38", "+X:  100\r-X:   20\r+Y:   50\r-Y:   60\r"}}},
    {"FMC sixteen blocks take a further empty entry", kFmc, "w21000 l r0~0",
     {{"lines", "A01     .DAT    21002"}, {"free", std::to_string((142 * 4096 + 238 * 2048) / 3)},
      {"2.0.1+32", Z(1) + "A01     DAT\x03" + Z(2) + "\x80" + Bytes({2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 17})},
      {"2.0.1+64", Z(1) + "A01     DAT"}, {"2.0.1+80", Z(16)}}},
    {"FMC three designs", kFmc, "w10 w11 w12 l", {{"free", std::to_string((155 * 4096 + 251 * 2048) / 3)}}},
    {"FMC a delete frees the block and the index record", kFmc, "w10 w11 w12 l d1 d7=2",
     {{"free", std::to_string((155 * 4096 + 251 * 2048 + 4096) / 3)}, {"2.1.13+64", Z(32, ' ')}}},
    {"FMC numbers are reused", kFmc, "w10 w11 w12 l d1 l w30 l",
     {{"lines", "A01     .DAT       12|A02     .DAT       32|A03     .DAT       14"}}},
    // The index records fill from the last; the 37th design has none.
    {"FMC 37 designs", kFmc, "w5*37 l", {{"count", "37"}, {"last", "A37     .DAT        7"}, {"2.1.1+0", "A36     FMC 36"}}},
    // The hundredth is refused before any conversion: a HUS source would fail there.
    {"FMC 99 designs", kFmc, "w5*37 w3*62 wHUS=4 w3=4 l", {{"count", "99"}}},
    // 157 free blocks hold 643,072 bytes; the DSB of n stitches is 512 + 3 x (n + 2).
    {"FMC room", kFmc, "w100 w214185=5 w214184 l", {{"last", "A02     .DAT   214186"}}},
    {"FMC refusals", kFmc, "wNONE=2 wXYZ=2 wWIDE=6 r0=2 l=2", {}},
    {"FMC on a ZSK disc", kZsk, "t0 l=3 w3=1", {}},
    // A design of two entries takes number 01 and entries 1 and 2; the next, 02, entry 4.
    // The host's old line 2 is A03, now second on the disc.
    {"FMC an old listing goes by names", kFmc, "w10 w20 w30 l d1 d0 w25000 w3 r2~2 l",
     {{"lines", "A01     .DAT    25002|A03     .DAT       32|A02     .DAT        5"}}},
    {"FMC a count past the blocks", kFmc, "w200 p3.0.1+4:99999906 l r0=1", {{"lines", "A01     .DAT   999999"}}},

    // FDR3: the directory on track 40 head 0, blocks of half a track side, named designs.
    {"FDR3 blank", kFdr3, "l=2", {{"40.0.1+0", Z(4096, '\xFF')}, {"40.1.1+0", Z(256, '\xE5')}}},
    // 1 + 300 + 3 + 1 records: 915 bytes behind a 256-byte header, in block 2: track 40
    // head 1, pieces in the order 1, 6, 11, 16, 5 ...
    {"FDR3 one design", kFdr3, "w300/20/-10/100>C:\\DESIGNS\\STAR.DST l r0~0",
     {{"lines", "C:\\DESIG.U01      305"}, {"format", "Barudan FDR"}, {"free", "172714"},
      {"40.0.1+0", Z(1) + "C:\\DESIGU01" + Bytes({2, 0}) + Z(14, '\xFF') + Bytes({0x93, 0x04, 0x00, 0xFF}) + Z(32, '\xFF')},
      {"40.1.1+0", Z(128, '0')}, {"40.1.1+140", IntToBytes4(305)},
      {"40.1.5+144", Bytes({0xF8, 0, 0}) + Z(109, '\xE5')}}},
    {"FDR3 a thousand records", kFdr3, "w998>BIG l", {{"lines", "BIG     .U01     1000"}}},
    // 5375 records, 16125 bytes, end in the 8th block; the further entry counts
    // 16125 - 16384 + 256 = -3 in 24 bits.
    {"FDR3 eight blocks", kFdr3, "w5373>EIGHT l r0~0",
     {{"lines", "EIGHT   .U01     5375"},
      {"40.0.1+12", Bytes({2, 0, 3, 0, 4, 0, 5, 0, 6, 0, 7, 0, 8, 0, 9, 0, 0x00, 0x40, 0x00, 0xFF})},
      {"40.0.1+32", "\x01" "EIGHT   U01" + Z(16, '\xFF') + Bytes({0xFD, 0xFF, 0xFF})}}},
    {"FDR3 names are shared", kFdr3, "w12000>LONG w100>LONG l r0~0 r1~1",
     {{"lines", "LONG    .U01    12002|LONG    .U02      102"},
      {"40.0.1+32", "\x01LONG    U01"}, {"40.0.1+64", "\x02LONG    U01"}, {"40.0.1+96", Z(1) + "LONG    U02"}}},
    {"FDR3 a delete frees two blocks", kFdr3, "w700>D0 w1000>D1 w1300>D2 l d1",
     {{"free", std::to_string((254 - 7 + 2) * 2048 / 3)}, {"40.0.1+32", "\xFF"}}},
    {"FDR3 a number comes back", kFdr3, "w700>D0 w1000>D1 w1300>D2 l d1 l w1000>NEW l r0~0 r1~3 r2~2",
     {{"lines", "D0      .U01      702|NEW     .U02     1002|D2      .U03     1302"}}},

    // ZSK: a label, a table of block chains on track 0, a directory block of numbered designs.
    {"ZSK blank", kZsk, "l=2",
     {{"free", "0"}, {"0.0.11+0", "ZSK-DISK  KS" + Bytes({1, 0, 0, 0, 1, 0, 1, 0}) + Z(236)},
      {"0.0.12+0", Bytes({0x77, 0x02, 0x09, 0x00, 0x7F, 0x02, 0x01, 0x00, 0x08, 0x00, 0x08, 0x00}) + Z(6) + FreeChain()},
      {"1.0.1+0", Bytes({0x00, 0x40, 0x06}) + Z(253)}}},
    // Number 1, one block, first and last 9; the stream: two zero bytes, 31 DSZ records,
    // the end mark, zero fill, and the block's further sectors not written.
    {"ZSK one design", kZsk, "w30",
     {{"1.0.1+0", Bytes({0x00, 0x40, 28, 0, 8, 0, 0, 0, 0, 0, 1, 0, 1, 0, 9, 0, 9, 0}) + Z(1006)},
      {"0.0.12+0", Bytes({0x76, 0x02, 10, 0})}, {"0.0.12+18", Bytes({0, 0, 11, 0})},
      {"1.0.5+0", Z(2)}, {"1.0.5+95", Bytes({0, 0, 0x90}) + Z(158) + Z(768, '\xE5')}}},
    {"ZSK two designs", kZsk, "w30 w300 l",
     {{"lines", "1                 333|2                 333"}, {"format", "ZSK (Zangs)"}, {"free", std::to_string(629 * 1024 / 3)},
      {"1.0.1+0", Bytes({0x00, 0x40, 50, 0, 10, 0, 30, 0, 0, 0, 0, 0, 1, 0, 1, 0, 9, 0, 9, 0}) + Z(12) +
                      Bytes({2, 0, 1, 0, 10, 0, 10, 0}) + Z(984)}}},
    // The listing counts 333 stitches a block; a pointer past the block ends the walk as 0 does.
    {"ZSK design 7 of three blocks", kZsk, "w30 p1.0.1+10:0700030009000B00 l", {{"lines", "7                 999"}}},
    {"ZSK a pointer past the block", kZsk, "w30 p1.0.1+4:0104 l=2", {}},
    {"ZSK numbers fill the lowest gap and stand last", kZsk, "w20 w21 w22 w23 l d2 l w50 l",
     {{"lines", "1                 333|2                 333|4                 333|3                 333"}}},
    // 8 + 22 x 46 bytes of 1024: the 47th is refused before any conversion.
    {"ZSK 46 designs", kZsk, "w5*46 wHUS=5 l", {{"count", "46"}, {"last", "46                333"}}},
    // Two free blocks: 2048 bytes, the DSZ of 510 stitches.
    {"ZSK room", kZsk, "p0.0.12+0:0200 w511=5 w510 l", {{"lines", "1                 666"}, {"free", "0"}}},
    {"ZSK a deleted chain heads the free list", kZsk, "w40/30/-20/60 w2000/30/-20/60 w700/30/-20/60 w5000/30/-20/60 l d1",
     {{"0.0.12+2", IntToBytes2(10)}, {"free", std::to_string((631 - 1 - 3 - 15) * 1024 / 3)}}},
    {"ZSK a new design takes freed blocks", kZsk, "w40/30/-20/60 w2000/30/-20/60 w700/30/-20/60 w5000/30/-20/60 l d1 w1999/-5/5 l r0~0 r1~2 r2~3 r3~4",
     {{"1.0.1+76", Bytes({2, 0, 6, 0, 10, 0})}}},  // number 2 again, 6005 bytes of stream from block 10

    // DOS: the class's own 720 KB disc, and the library's, as mkfs.fat lays them.
    {"DOS blank", kDos, "l=2",
     {{"0.0.1+0", "\xEB\x28\x90" "BRISK v1" + Bytes({0x00, 0x02, 0x02, 0x01, 0x00, 0x02, 0x70, 0x00, 0xA0, 0x05, 0xF9, 0x03, 0x00,
                                                  0x09, 0x00, 0x02, 0x00})},
      {"0.0.1+42", Bytes({0xFA, 0x33, 0xC0})},
      {"0.0.1+92", "\r\n\r\n\r\n\r\n\r\n\r\n\r\n\r\n" + Z(30, ' ') + "Hey Dude, Yes You!"},
      {"0.0.1+345", "Tarnwick Software." + Z(149)},
      {"0.0.2+0", Bytes({0xF9, 0xFF, 0xFF}) + Z(1533) + Bytes({0xF9, 0xFF, 0xFF}) + Z(1533) + Z(1024)},
      {"0.1.1+0", Z(3072) + Z(512, '\xE5')}}},
    {"DOS format types", kDos, "f0=1 f5 f18", {}},
    {"DOS 720 KB as mkfs.fat", kSound720, "",
     {{"0.0.1+0", "\xEB\x3C\x90" "MSDOS5.0" + Bytes({0x00, 0x02, 0x02, 0x01, 0x00, 0x02, 0x70, 0x00, 0xA0, 0x05, 0xF9, 0x03, 0x00,
                                                  0x09, 0x00, 0x02, 0x00}) + Z(10) + "\x29"},
      {"0.0.1+43", "NO NAME    FAT12   " + Bytes({0xFA, 0x33, 0xC0})}, {"0.0.1+77", "\x70"},
      {"0.0.1+112", "\r\n\r\n\r\n\r\n\r\n\r\n\r\n\r\n" + Z(30, ' ') + "Hey Dude, Yes You!"}, {"0.0.1+510", "\x55\xAA"},
      {"0.0.2+0", Bytes({0xF9, 0xFF, 0xFF}) + Z(1533) + Bytes({0xF9, 0xFF, 0xFF}) + Z(1533) + Z(3584)}}},
    {"DOS 1.44 MB as mkfs.fat", kSound1440, "",
     {{"0.0.1+0", "\xEB\x3C\x90" "MSDOS5.0" + Bytes({0x00, 0x02, 0x01, 0x01, 0x00, 0x02, 0xE0, 0x00, 0x40, 0x0B, 0xF0, 0x09, 0x00,
                                                  0x12, 0x00, 0x02, 0x00}) + Z(10) + "\x29"},
      {"0.0.1+43", "NO NAME    FAT12   "}, {"0.0.1+510", "\x55\xAA"},
      {"0.0.2+0", Bytes({0xF0, 0xFF, 0xFF}) + Z(4605) + Bytes({0xF0, 0xFF, 0xFF}) + Z(4605) + Z(7168)}}},
    // Identification asks for one file type after another; the first found names the disc.
    {"DOS Tajima", kDos, "PA.KSM:600 PB.DST:600 i", {{"format", "Tajima Disc"}}},
    {"DOS Pfaff", kDos, "PA.KSM:600 i", {{"format", "Pfaff"}}},
    {"DOS Happy", kDos, "PA.TAP:600 i", {{"format", "Happy Disc"}}},
    {"DOS Toyota", kDos, "PA.10O:600 i", {{"format", "Toyota Disc"}}},
    {"DOS Emnet", kDos, "PDESIGN:600 i", {{"format", "Emnet"}}},
    {"DOS Melco", kDos, "PA.EXP:600 i", {{"format", "Melco Premier"}}},
    {"DOS Singer", kDos, "PA.XXX:600 i", {{"format", "Singer"}}},
    {"DOS Elna", kDos, "PA.EMD:600 i", {{"format", "Elna"}}},
    {"DOS Janome JEF", kDos, "PA.JEF:600 i", {{"format", "Janome"}}},
    {"DOS Janome SEW", kDos, "PA.SEW:600 i", {{"format", "Janome"}}},
    {"DOS Barudan", kDos, "PA.U01:600 i", {{"format", "Barudan DOS/2HD"}}},
    {"DOS Velmo QEP", kDos, "PA.QEP:600 i", {{"format", "Velmo Quick Expanded"}}},
    {"DOS Velmo QCD", kDos, "PA.QCD:600 i", {{"format", "Velmo Quick Condensed"}}},
    {"DOS Midwest", kDos, "PA.VST:600 i", {{"format", "Midwest"}}},
    {"DOS plain", kDos, "PA.QSS:600 i", {{"format", "DOS"}}},
    {"DOS no design", kDos, "PNOTES.TXT:4 i=2", {}},
};

// What a disc holds after a script, and what the class then shows.
struct Outcome {
  std::string failure, image, read, format;
  std::vector<std::string> lines;
  int32_t free = 0;
};

Outcome OutcomeOf(const Case& c) {
  Outcome out;
  test::OnFreshThread([&] {
    test::ScriptedDisc disc(c.kind.image, c.kind.type, c.kind.sound);
    const ::testing::AssertionResult ran = disc.Run(c.script);
    out.failure = disc.formatResult != 0 ? "the format failed" : ran ? "" : ran.message();
    out.image = disc.Bytes();
    out.lines = disc.Lines();
    out.free = disc.tavlin.FreeStitches();
    out.format = disc.tavlin.Format();
    if (disc.reads > 0) out.read = test::ReadBytes(disc.LastRead());
  });
  return out;
}

void PrintTo(const Case& c, std::ostream* out) { *out << c.what; }

class DiscLayout : public ::testing::TestWithParam<Case> {};

TEST_P(DiscLayout, HoldsItsBytesAndShowsItsListing) {
  const Case& c = GetParam();
  const Outcome out = OutcomeOf(c);
  ASSERT_EQ(out.failure, "") << c.script;
  for (const auto& [check, expected] : c.expected) {
    const std::string what = check;
    std::string got;
    if (what == "lines") {
      for (const std::string& line : out.lines) got += (got.empty() ? "" : "|") + line;
    } else if (what == "count") {
      got = std::to_string(out.lines.size());
    } else if (what == "last") {
      got = out.lines.empty() ? "" : out.lines.back();
    } else if (what == "free") {
      got = std::to_string(out.free);
    } else if (what == "format") {
      got = out.format;
    } else if (what.rfind("read+", 0) == 0) {
      got = out.read.substr(std::min(out.read.size(), std::stoul(what.substr(5))), expected.size());
    } else {
      got = out.image.substr(test::SectorAt(what, out.image.size()), expected.size());
    }
    const auto differs = std::mismatch(got.begin(), got.end(), expected.begin(), expected.end());
    EXPECT_TRUE(got == expected) << what << " differs from byte " << differs.first - got.begin() << ": "
                                 << ::testing::PrintToString(got.substr(static_cast<size_t>(differs.first - got.begin()), 40));
  }
}

INSTANTIATE_TEST_SUITE_P(Cases, DiscLayout, ::testing::ValuesIn(kCases), [](const auto& tested) {
  std::string name;
  for (const char* c = tested.param.what; *c != '\0'; ++c) name += std::isalnum(static_cast<unsigned char>(*c)) ? *c : '_';
  return name;
});

}  // namespace
}  // namespace tavlin
