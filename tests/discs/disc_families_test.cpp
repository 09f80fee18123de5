// Every family of the table through the class as a host drives it: a blank disc, a
// design onto it and back, the disc empty again. Then each family's own bytes on the
// disc and answers of its class calls, a row a case: a script of operations on a fresh
// disc (see ScriptedDisc::Run), then what the image holds at "track.head.sector+offset",
// what the last read file holds at "read+offset", what the listing shows, and on a DOS
// disc what fsck.fat and mtools make of it.
#include <gtest/gtest.h>

#include <map>
#include <utility>

#include "discs/disc_script.h"
#include "discs/dos/dos_disc.h"

namespace tavlin {
namespace {

// How the class names each family's disc once it holds a design (a DOS disc by the kind
// of file it finds first: here a DST), and its type then and while blank.
const std::map<std::string_view, std::tuple<std::string, int16_t, int16_t>> kIdentities = {
    {"fmc", {"Barudan FMC", 2, 2}}, {"fdr3", {"Barudan FDR", 1, 1}}, {"zsk", {"ZSK (Zangs)", 3, 3}}, {"dos", {"Tajima Disc", 4, 0}}};

TEST(DiscFamilies, EachFormatsIdentifiesWritesReadsBackAndDeletes) {
  const std::string star = test::Samples() + "/Star.DST";
  ASSERT_EQ(DiscFamilyRecords().size(), kIdentities.size());
  for (const DiscFamilyRecord* family : DiscFamilyRecords()) {
    test::OnFreshThread([&] {
      SCOPED_TRACE(std::string(family->name));
      const auto type = static_cast<int16_t>(family->formatType);
      const auto& [format, discType, blankType] = kIdentities.at(family->name);
      EXPECT_TRUE(DiscFamilyByName(family->name) == family && DiscFamilyByFormatType(type) == family);
      test::ScriptedDisc disc(family->geometry, type);
      Tavlin& tavlin = disc.tavlin;
      ASSERT_EQ(disc.formatResult, 0);
      // A blank disc is identified and holds nothing. A family whose designs are files
      // takes a path on the drive; the others a name.
      EXPECT_TRUE(tavlin.ReadDisc() == 2 && tavlin.Files().empty() && tavlin.DiscType() == blankType) << tavlin.DiscType();
      ASSERT_EQ(tavlin.WriteToDisc(star, family->sectorAccess ? "STAR" : "A:\\STAR.DST", type, disc.progress), 0);
      ASSERT_EQ(tavlin.ReadDisc(), 0);
      EXPECT_TRUE(tavlin.Format() == format && tavlin.DiscType() == discType && tavlin.FreeStitches() > 0) << tavlin.Format();
      const std::vector<std::string> lines = disc.Lines();
      ASSERT_EQ(lines.size(), 1u);
      ASSERT_EQ(disc.ListAs(type), 0);  // the family's own listing agrees with identification
      EXPECT_EQ(disc.Lines(), lines);
      const std::string out = disc.dir / ("back." + std::string(family->deliversAs.empty() ? "DST" : family->deliversAs));
      ASSERT_EQ(tavlin.ReadFromDisc(0, disc.NameOf(0), out, type, disc.progress), 0);
      EXPECT_EQ(test::NeedlesOf(out), test::NeedlesOf(star));
      ASSERT_EQ(tavlin.DeleteFromDisc(0, disc.NameOf(0), type), 0);
      EXPECT_TRUE(tavlin.ReadDisc() == 2 && tavlin.Files().empty());
    });
  }
  EXPECT_EQ(DiscFamilyByName("floppy"), nullptr);
  EXPECT_EQ(DiscFamilyByFormatType(DSHD), nullptr);
  // No disc at all.
  test::OnFreshThread([] {
    UnbindDrive(0);
    EXPECT_EQ(Tavlin().ReadDisc(), 4);
    EXPECT_EQ(Tavlin().FormatDisc(FMC), 1);
  });
}

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
using test::Hex;

// What a free ZSK table holds from block 9 on: each block leads to the next, the last to 0.
std::string FreeChain() {
  std::string chain;
  for (int block = 10; block <= 639; ++block) chain += IntToBytes2(block);
  return chain + Z(2);
}

// n tokens of a script, numbered from 0: Many("PT", ".TXT:1", 2) is "PT0.TXT:1 PT1.TXT:1".
std::string Many(const std::string& head, const std::string& tail, int n) {
  std::string script;
  for (int i = 0; i < n; ++i) script += (i == 0 ? "" : " ") + head + std::to_string(i) + tail;
  return script;
}

// A ZSK design's stream in block 9, as other writers may end it.
std::string ZskStream(const std::string& records) {
  return "w30 p1.0.5+0:" + Hex(Z(2) + records + Z(1022 - records.size(), '\x55')) + " l r0";
}
const std::string kStitch = Bytes({5, 3, 0x80});  // (3, 5), a stitch

// A design of DST records put on an FDR3 disc by hand, as an entry of the E kind: its
// header piece in block 2, its data in the next piece, no end record.
std::string Fdr3EKind() {
  std::string data;
  for (int i = 0; i < 10; ++i) data += test::DstRecord(KindStitch, 10, static_cast<int16_t>(i % 2 == 0 ? 5 : -5));
  return "p40.1.1+0:" + Hex(Z(128, '0') + IntToBytes2(0) + IntToBytes2(-5) + IntToBytes2(100) + IntToBytes2(0) + Z(120)) +
         " p40.1.6+0:" + Hex(data + Z(226, '\x55')) + " p40.0.1+0:" +
         Hex(Z(1) + "HANDMADEE01" + Bytes({2, 0}) + Z(14, '\xFF') + IntToBytes4(256 + 30).substr(0, 3) + "\xFF") + " l r0";
}

struct Case {
  const char* what;
  Kind kind;
  std::string script;
  // "lines" (joined by '|'), "count", "last" (line), "free", "format", or where bytes stand
  std::vector<std::pair<const char*, std::string>> expected;
};

// Another program's file of that many bytes on a DOS disc, then eight designs that fill
// the rest but for 2048 bytes; the ninth is refused for room, and so is a design that
// would replace the first but can't be placed beside it; a small one can.
std::string Filled(int filler) {
  std::string script = "PFILLER.BIN:" + std::to_string(filler);
  for (int i = 0; i <= 8; ++i) script += " w" + std::to_string(1400 + 10 * i) + ">A:\\D" + std::to_string(i) + ".DST";
  return script + "=61 w3000>A:\\D0.DST=61";
}

// Identification asks for one file type after another; the first it finds names the disc.
Case Probe(const char* files, const char* format) {
  std::string script, name;
  for (std::istringstream in(files); in >> name;) script += "P" + name + ":600 ";
  return {files, kDos, script + "i", {{"format", format}}};
}

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
    {"FDR3 an entry of the E kind is read by its byte count", kFdr3, Fdr3EKind(),
     {{"lines", "HANDMADE.E01       10"}, {"needles", "10"}, {"end", "100,0"}}},
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

    {"ZSK end mark 0x90", kZsk, ZskStream(kStitch + kStitch + Bytes({0, 0, 0x90})), {{"needles", "2"}}},
    {"ZSK end mark 0x91", kZsk, ZskStream(kStitch + Bytes({0, 0, 0x91}) + kStitch), {{"needles", "1"}}},
    {"ZSK end mark of three zeros", kZsk, ZskStream(kStitch + kStitch + kStitch + Bytes({0, 0, 0})), {{"needles", "3"}}},
    // The mark belongs to the data: 0x00 0x00 0xF1 is a stitch of code 17.
    {"ZSK no end mark 0xF1", kZsk, ZskStream(kStitch + Bytes({0, 0, 0xF1})), {{"needles", "2"}}},
    // Blocks 9 to 11 without an end mark, whose chain loops back, or leads past the last block.
    {"ZSK a damaged chain ends the read", kZsk, "w1000 p1.0.5+0:" + Hex(Z(3072, '\x55')) + " p0.0.12+22:0900 l r0=1 p0.0.12+22:8002 r0=1", {}},

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
    // The listing estimates stitches from a file's length less its head, with the label a
    // DST-family head holds; a file shorter than its head gives a negative figure.
    {"DOS listing", kDos, "PSTAR.DST:812:LA:STAR_RIGHT PA.VST:1054 PB.QEP:562 PC.JEF:120 PD.SEW:100 PE.DSK:512: i",
     {{"lines", "STAR.DST          100 - (STAR RIGHT  )|A.VST              10" + Z(17, ' ') + "|B.QEP              10" + Z(17, ' ') +
                    "|C.JEF              10" + Z(17, ' ') + "|D.SEW           -3722" + Z(17, ' ') + "|E.DSK               0 - (" + Z(12, ' ') + ")"},
      {"free", std::to_string(static_cast<int32_t>(243000 - (812 + 1054 + 562 + 120 + 100 + 512) / 3.0))}}},
    // SHV goes through the design-file service, which reads it but does not write it; a
    // HUS it writes; a name no format knows holds what the conversion wrote for it, as a
    // DST: 512 + 3 x 12 bytes.
    {"DOS refusals", kDos, "wVIP>A:\\A.DST=2 wNONE>A:\\A.DST=2 w10>A:\\A.SHV=1001 w10>A:\\A.XYZ w10>A:\\A.HUS",
     {{"0.0.8+0", "A       XYZ"}, {"0.0.8+28", IntToBytes4(512 + 3 * 12)}}},
    // 730,112 bytes free: the filler takes 671 clusters of 1024, leaving 42; 1.44 MB:
    // 1,457,664 bytes, 2763 clusters of 512 taken, 84 left. A design takes 5 or 10.
    {"DOS 720 KB filled", kSound720, Filled(730112 - 43008 - 100), {{"fsck", "clean"}, {"room", "2048 2048"}}},
    {"DOS 720 KB emptied again", kSound720, Filled(730112 - 43008 - 100) + " w20>A:\\D0.DST i d1 d2 d3 d4 d5 d6 d7 d8 i=2",
     {{"fsck", "clean"}, {"room", "43008 43008"}}},
    {"DOS 1.44 MB filled", kSound1440, Filled(1457664 - 43008 - 100), {{"fsck", "clean"}, {"room", "2048 2048"}}},
    {"DOS 1.44 MB replaced small", kSound1440, Filled(1457664 - 43008 - 100) + " w20>A:\\D0.DST",
     {{"fsck", "clean"}, {"room", "6144 6144"}}},
    // A delete takes a file's long-name entries with it, or fsck.fat finds them orphaned.
    {"DOS long names", kSound1440, "MLong_design_name_number_one.DST:600 MKEEP.DST:600 i d0 i",
     {{"fsck", "clean"}, {"lines", "KEEP.DST           29 - (" + Z(12, 'x') + ")"}}},
    {"DOS a full root", kSound720, Many("PT", ".TXT:1", 111) + " w50>A:\\LAST.DST w50>A:\\MORE.DST=67", {{"fsck", "clean"}}},
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
    Probe("A.KSM B.DST", "Tajima Disc"), Probe("A.KSM", "Pfaff"), Probe("A.TAP", "Happy Disc"),
    Probe("A.10O", "Toyota Disc"), Probe("DESIGN", "Emnet"), Probe("A.EXP", "Melco Premier"), Probe("A.XXX", "Singer"),
    Probe("A.EMD", "Elna"), Probe("A.JEF", "Janome"), Probe("A.SEW", "Janome"), Probe("A.U01", "Barudan DOS/2HD"),
    Probe("A.QEP", "Velmo Quick Expanded"), Probe("A.QCD", "Velmo Quick Condensed"), Probe("A.VST", "Midwest"),
    Probe("A.QSS", "DOS"),
    {"DOS no design", kDos, "PNOTES.TXT:4 i=2", {}},
};

void PrintTo(const Case& c, std::ostream* out) { *out << c.what; }

class DiscLayout : public ::testing::TestWithParam<Case> {};

TEST_P(DiscLayout, HoldsItsBytesAndShowsItsListing) {
  const Case& c = GetParam();
  test::OnFreshThread([&c] {
    test::ScriptedDisc disc(c.kind.image, c.kind.type, c.kind.sound);
    ASSERT_EQ(disc.formatResult, 0);
    ASSERT_TRUE(disc.Run(c.script));
    const std::vector<std::string> lines = disc.Lines();
    const bool read = disc.reads > 0 && std::filesystem::exists(disc.LastRead());
    const std::vector<test::Needle> needles = read ? test::NeedlesOf(disc.LastRead()) : std::vector<test::Needle>();
    std::map<std::string, std::string> shown = {{"count", std::to_string(lines.size())},
                                                {"last", lines.empty() ? "" : lines.back()},
                                                {"free", std::to_string(disc.tavlin.FreeStitches())},
                                                {"format", disc.tavlin.Format()},
                                                {"needles", std::to_string(needles.size())}};
    if (c.kind.type == OtherDOS) {
      shown["fsck"] = test::FsckClean(disc.dir, disc.image) ? "clean" : "not clean";
      shown["room"] = std::to_string(DosFreeBytes(ThreadSharedRecord())) + " " +
                      test::Mtools(disc.dir, "mdir -i " + disc.image + " :: | grep 'bytes free' | tr -dc 0-9");
    }
    for (const std::string& line : lines) shown["lines"] += (shown["lines"].empty() ? "" : "|") + line;
    if (!needles.empty()) shown["end"] = std::to_string(needles.back().x) + "," + std::to_string(needles.back().y);
    const std::string image = disc.Bytes(), file = read ? test::ReadBytes(disc.LastRead()) : "";
    for (const auto& [where, expected] : c.expected) {
      const std::string got = shown.count(where) == 1 ? shown[where]
                              : std::string(where).rfind("read+", 0) == 0 ? file.substr(std::stoul(where + 5), expected.size())
                                                                          : image.substr(test::SectorAt(where, image.size()), expected.size());
      const size_t differs = static_cast<size_t>(std::mismatch(got.begin(), got.end(), expected.begin(), expected.end()).first - got.begin());
      EXPECT_TRUE(got == expected) << where << " differs from byte " << differs << ": " << ::testing::PrintToString(got.substr(differs, 40));
    }
  });
}

INSTANTIATE_TEST_SUITE_P(Cases, DiscLayout, ::testing::ValuesIn(kCases), [](const auto& tested) {
  std::string name;
  for (const char* c = tested.param.what; *c != '\0'; ++c) name += std::isalnum(static_cast<unsigned char>(*c)) ? *c : '_';
  return name;
});

}  // namespace
}  // namespace tavlin
