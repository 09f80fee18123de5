// FDR3 discs in images: named designs in half-track blocks, listed, read back, deleted,
// and failing where a test says so without losing what stood.
#include <gtest/gtest.h>

#include "discs/barudan/fdr3_disc.h"
#include "disc_fixture.h"
#include "state/shared_record.h"
#include "tavlin/convert.h"
#include "tavlin/design.h"

namespace tavlin {
namespace {

using test::Bytes;
using test::OnFreshThread;

size_t Offset(int track, int head, int sector) { return test::SectorOffset(track, head, sector); }

// The directory entry n of the image, 32 bytes.
std::string Entry(const std::string& image, int n) {
  const size_t piece = static_cast<size_t>(n) / 8;
  return image.substr(Offset(40, 0, kFdr3SectorOrder[piece]) + static_cast<size_t>(n % 8) * 32, 32);
}

// A piece of a block: the n-th (0 to 7) 256 bytes.
std::string Piece(const std::string& image, int block, int n) {
  const uint8_t sector = kFdr3SectorOrder[static_cast<size_t>(Fdr3BlockFirstPiece(block) + n)];
  return image.substr(Offset(Fdr3BlockTrack(block), Fdr3BlockHead(block), sector), 256);
}

struct Disc : test::DiscImage {
  Disc() : DiscImage(ImageFamily::Fdr3, FDR3) { EXPECT_EQ(formatResult, 0); }
};

TEST(Fdr3Blocks, LieHalfATrackSideEach) {
  EXPECT_EQ(Fdr3BlockTrack(2), 40);
  EXPECT_EQ(Fdr3BlockHead(2), 1);
  EXPECT_EQ(Fdr3BlockFirstPiece(2), 0);
  EXPECT_EQ(Fdr3BlockFirstPiece(3), 8);
  EXPECT_EQ(Fdr3BlockTrack(4), 0);
  EXPECT_EQ(Fdr3BlockHead(4), 0);
  EXPECT_EQ(Fdr3BlockHead(6), 1);
  EXPECT_EQ(Fdr3BlockTrack(163), 39);
  EXPECT_EQ(Fdr3BlockTrack(164), 41);  // track 40 is passed over
  EXPECT_EQ(Fdr3BlockTrack(255), 63);
}

TEST(Fdr3Disc, ADesignOfOneBlockListsAndReadsBack) {
  OnFreshThread([] {
    Disc disc;
    EXPECT_EQ(disc.List(), 2);
    EXPECT_EQ(disc.tavlin.DiscType(), 1);
    const std::string source = test::ZigzagDst(300, 20, -10, 100);
    ASSERT_EQ(disc.Write(source, "a.DST", "C:\\DESIGNS\\STAR.DST"), 0);
    ASSERT_EQ(disc.List(), 0);
    // 1 + 300 + 3 + 1 records: 915 bytes of data behind the 256-byte header.
    // The first 8 characters of the destination's name, taken as they stand.
    EXPECT_EQ(disc.Lines(), std::vector<std::string>{"C:\\DESIG.U01      305"});
    EXPECT_EQ(disc.tavlin.Format(), "Barudan FDR");
    EXPECT_EQ(disc.tavlin.FreeStitches(), 172714);
    const std::string bytes = disc.Bytes();
    EXPECT_EQ(Entry(bytes, 0), std::string(1, '\0') + "C:\\DESIGU01" + Bytes({2, 0}) +
                                   std::string(14, '\xFF') + IntToBytes4(915 + 256).substr(0, 3) +
                                   "\xFF");
    EXPECT_EQ(Entry(bytes, 1), std::string(32, '\xFF'));
    // The header piece: 128 "0"s, the extents, the stitch count.
    const std::string head = Piece(bytes, 2, 0);
    EXPECT_EQ(head.substr(0, 128), std::string(128, '0'));
    EXPECT_EQ(head.substr(140, 4), IntToBytes4(305));
    // The last piece ends at the end record, filled with 0xE5.
    const std::string last = Piece(bytes, 2, 4);
    EXPECT_EQ(last.substr(915 - 3 * 256 - 3, 3), Bytes({0xF8, 0, 0}));
    EXPECT_EQ(last.substr(915 - 3 * 256), std::string(256 - (915 - 3 * 256), '\xE5'));

    EXPECT_TRUE(disc.ReadsBackAs(0, source));
  });
}

TEST(Fdr3Disc, AThousandStitchesAre3256Bytes) {
  OnFreshThread([] {
    Disc disc;
    // 998 stitches, the opening jump and the end record: 1000 DSB records.
    ASSERT_EQ(disc.Write(test::ZigzagDst(998), "a.DST", "BIG"), 0);
    ASSERT_EQ(disc.List(), 0);
    EXPECT_EQ(disc.Lines(), std::vector<std::string>{"BIG     .U01     1000"});
    EXPECT_EQ(ThreadSharedRecord().ListDetails[1], "   3256");
  });
}

TEST(Fdr3Disc, EightBlocksMakeAFurtherEntryOfNegativeCount) {
  OnFreshThread([] {
    Disc disc;
    // 5375 records, 16125 bytes, end in the 8th block: 16128 would fill it.
    ASSERT_EQ(disc.Write(test::ZigzagDst(5373), "a.DST", "EIGHT"), 0);
    const std::string bytes = disc.Bytes();
    const std::string first = Entry(bytes, 0);
    EXPECT_EQ(first.substr(28, 4), IntToBytes4(16384).substr(0, 3) + "\xFF");
    for (int b = 0; b < 8; ++b) EXPECT_EQ(first.substr(12 + 2 * static_cast<size_t>(b), 2), Bytes({2 + b, 0}));
    const std::string further = Entry(bytes, 1);
    EXPECT_EQ(further.substr(0, 12), std::string(1, '\x01') + "EIGHT   U01");
    EXPECT_EQ(further.substr(12, 16), std::string(16, '\xFF'));
    // 16125 - 16384 + 256 = -3, in 24 bits; the listing's 16-bit sum still comes out.
    EXPECT_EQ(further.substr(28, 3), Bytes({0xFD, 0xFF, 0xFF}));
    ASSERT_EQ(disc.List(), 0);
    EXPECT_EQ(disc.Lines(), std::vector<std::string>{"EIGHT   .U01     5375"});
    EXPECT_TRUE(disc.ReadsBackAs(0, test::ZigzagDst(5373)));
  });
}

TEST(Fdr3Disc, LongFilesTakeEntriesInPlaceOrderAndNamesAreShared) {
  OnFreshThread([] {
    Disc disc;
    ASSERT_EQ(disc.Write(test::ZigzagDst(12000), "a.DST", "LONG"), 0);
    ASSERT_EQ(disc.Write(test::ZigzagDst(100), "b.DST", "LONG"), 0);
    const std::string bytes = disc.Bytes();
    for (int n = 0; n < 3; ++n) {
      EXPECT_EQ(static_cast<uint8_t>(Entry(bytes, n)[0]), n);
      EXPECT_EQ(Entry(bytes, n).substr(1, 11), "LONG    U01");
    }
    EXPECT_EQ(Entry(bytes, 3).substr(0, 12), std::string(1, '\0') + "LONG    U02");
    ASSERT_EQ(disc.List(), 0);
    EXPECT_EQ(disc.Lines(), (std::vector<std::string>{"LONG    .U01    12002",
                                                      "LONG    .U02      102"}));
    EXPECT_TRUE(disc.ReadsBackAs(0, test::ZigzagDst(12000)));
  });
}

TEST(Fdr3Disc, AnEKindEntryIsReadByItsByteCount) {
  OnFreshThread([] {
    Disc disc;
    // A design of DST records, put on the disc by hand: header piece in block 2, data in
    // the next piece, no end record.
    std::string data;
    for (int i = 0; i < 10; ++i) data += test::DstRecord(KindStitch, 10, static_cast<int16_t>(i % 2 == 0 ? 5 : -5));
    std::string header(128, '0');
    header += IntToBytes2(0) + IntToBytes2(-5) + IntToBytes2(100) + IntToBytes2(0);
    header.resize(256, '\0');
    disc.Patch(Offset(40, 1, kFdr3SectorOrder[0]), header);
    disc.Patch(Offset(40, 1, kFdr3SectorOrder[1]), data + std::string(256 - data.size(), '\x55'));
    const std::string entry = std::string(1, '\0') + "HANDMADEE01" + Bytes({2, 0}) +
                              std::string(14, '\xFF') + IntToBytes4(256 + 30).substr(0, 3) + "\xFF";
    disc.Patch(Offset(40, 0, kFdr3SectorOrder[0]), entry);
    ASSERT_EQ(disc.List(), 0);
    EXPECT_EQ(disc.Lines(), std::vector<std::string>{"HANDMADE.E01       10"});
    ASSERT_FALSE(disc.Read(0).empty());
    const std::vector<test::Needle> needles = test::NeedlesOf(disc.LastRead());
    ASSERT_EQ(needles.size(), 10u);
    EXPECT_EQ(needles.back().x, 100);
    EXPECT_EQ(needles.back().y, 0);
  });
}

TEST(Fdr3Disc, DeleteFreesTheBlocksAndTheNumberComesBack) {
  OnFreshThread([] {
    Disc disc;
    for (int i = 0; i < 3; ++i) {
      ASSERT_EQ(disc.Write(test::ZigzagDst(700 + 300 * i), "a.DST", "D" + std::to_string(i)), 0);
    }
    const std::vector<std::string> before = disc.Designs();
    ASSERT_EQ(before.size(), 3u);
    ASSERT_EQ(disc.List(), 0);
    const int32_t bytesBefore = ThreadSharedRecord().DiscByteCount;
    ASSERT_EQ(disc.Delete(1), 0);
    // The second design, 1002 records behind its header, took two blocks.
    EXPECT_EQ(ThreadSharedRecord().DiscByteCount, bytesBefore + 2 * 2048);
    EXPECT_EQ(disc.tavlin.FreeStitches(), (bytesBefore + 2 * 2048) / 3);
    EXPECT_EQ(static_cast<uint8_t>(Entry(disc.Bytes(), 1)[0]), 0xFF);
    ASSERT_EQ(disc.List(), 0);
    EXPECT_EQ(disc.Lines().size(), 2u);
    ASSERT_EQ(disc.Write(test::ZigzagDst(1000), "b.DST", "NEW"), 0);
    ASSERT_EQ(disc.List(), 0);
    EXPECT_EQ(disc.Lines()[1], "NEW     .U02     1002");
    const std::vector<std::string> after = disc.Designs();
    ASSERT_EQ(after.size(), 3u);
    EXPECT_TRUE(after[0] == before[0] && after[2] == before[2]);
  });
}

TEST(Fdr3Disc, AFailedSectorLosesNothingThatStood) {
  OnFreshThread([] {
    Disc disc;
    ASSERT_EQ(disc.Write(test::ZigzagDst(400), "a.DST", "ONE"), 0);
    ASSERT_EQ(disc.Write(test::ZigzagDst(900), "b.DST", "TWO"), 0);
    const std::vector<std::string> before = disc.Designs();
    ASSERT_EQ(before.size(), 2u);
    // The designs take block 2, then 3 and 4: the next begins at block 5, the second
    // half of track 0 head 0, whose second piece lies in sector 14.
    for (const test::WriteFault& fault :
         {test::WriteFault{"data", 0, 0, 14}, test::WriteFault{"directory", 40, 0, 16}}) {
      disc.ExpectSafeFailure(fault, test::ZigzagDst(500), before);
    }
    ASSERT_EQ(disc.List(), 0);
    disc.FailWrites([](int track, int, int) { return track == 40; });
    EXPECT_EQ(disc.Delete(0), 1);
    disc.FailWrites(nullptr);
    EXPECT_TRUE(test::StillStand(before, disc.Designs()));
  });
}

}  // namespace
}  // namespace tavlin
