// Bytes nobody meant as a design, and discs nobody formatted: every reader and every
// disc routine must end with a result, never a crash, a hang or a runaway allocation.
#include <gtest/gtest.h>

#include <random>

#include "disc_fixture.h"
#include "state/shared_record.h"
#include "tavlin/convert.h"
#include "tavlin/design.h"

namespace tavlin {
namespace {

using test::OnFreshThread;


TEST(HostileInput, RandomFilesInEveryReadableFormatConvertOrFailCleanly) {
  test::TempDir dir;
  std::mt19937 random(2026);
  Tavlin tavlin;
  for (const FormatInfo& format : StitchFormats()) {
    if (!format.reads || format.fileEnd.empty() || format.fileEnd == "   ") continue;
    for (size_t size : {0, 1, 100, 511, 512, 513, 3000, 40000}) {
      const std::string source = dir / ("in." + format.fileEnd);
      test::WriteBytes(source, test::RandomBytes(random, size));
      for (const char* dest : {"out.DST", "out.QEP", "out.CND", "out.T01"}) {
        test::WriteBytes(dir / dest, "before");
        const int result = Convert(source, dir / dest).value();
        // A run that fails leaves the destination as it was.
        if (result != 0) {
          EXPECT_EQ(test::ReadBytes(dir / dest), "before") << format.fileEnd << size;
        }
      }
      DesignSummary summary;
      SummariseDesign(source, summary);
      EXPECT_LE(summary.records, static_cast<int64_t>(size)) << format.fileEnd << " " << size;
    }
  }
}

TEST(HostileInput, RandomDiscImagesListAndReadWithoutHanging) {
  OnFreshThread([] {
    std::mt19937 random(7);
    for (int round = 0; round < 6; ++round) {
      for (auto [family, type] : {std::pair{ImageFamily::Fmc, FMC}, std::pair{ImageFamily::Fdr3, FDR3},
                                  std::pair{ImageFamily::Zsk, ZSKDisc}}) {
        test::DiscImage disc(family, type);
        ASSERT_EQ(disc.Write(test::ZigzagDst(300)), 0);
        // Scramble the directory structures and some data, then use the disc.
        std::string bytes = disc.Bytes();
        for (int n = 0; n < 400; ++n) {
          const size_t at = round % 2 == 0 ? random() % 40960 : random() % bytes.size();
          bytes[at] = static_cast<char>(random() & 0xFF);
        }
        test::WriteBytes(disc.image, bytes);
        BindDriveImage(0, disc.image);
        const int16_t listed = disc.List();
        EXPECT_TRUE(listed >= 0 && listed <= 3) << listed;
        for (int16_t line = 0; line < 3; ++line) {
          int16_t result = -1;
          disc.Read(line, &result);
          EXPECT_TRUE(result >= 0 && result <= 2) << result;
        }
        const int16_t written = disc.Write(test::ZigzagDst(50));
        EXPECT_TRUE(written >= 0 && written <= 5) << written;
        if (disc.List() == 0) disc.Delete(0);
      }
    }
  });
}

}  // namespace
}  // namespace tavlin
