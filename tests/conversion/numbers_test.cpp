#include <gtest/gtest.h>

#include <cmath>

#include "conversion/format_table.h"
#include "conversion/numbers.h"
#include "platform/run_time_error.h"
#include "test_support.h"

namespace tavlin {
namespace {

using test::Bytes;

TEST(FormatCodes, ComeFromTheLastThreeCharactersOfTheName) {
  EXPECT_EQ(FindFormatCode("A:\\DESIGN.dst"), 0);
  EXPECT_EQ(FindFormatCode("ABC.DSb"), 1);
  EXPECT_EQ(FindFormatCode("DESIGN.10o"), 10);
  EXPECT_EQ(FindFormatCode("DESIGN.U02"), 17);
  EXPECT_EQ(FindFormatCode("DESIGN.UAB"), 17);
  EXPECT_EQ(FindFormatCode("DESIGN.VIP", false), -2);
  EXPECT_EQ(FindFormatCode("DESIGN.XYZ"), -2);
  EXPECT_EQ(FindFormatCode("DESIGN   "), 11);
  EXPECT_EQ(FindFormatCode("x.hus"), 21);
  EXPECT_EQ(FindFormatCode("x.SHV"), 23);
  EXPECT_EQ(FindFormatCode("x.T01"), 5);
  EXPECT_EQ(FindFormatCode("x.t03"), 9);
  // Fewer than three characters are compared whole.
  EXPECT_EQ(FindFormatCode("U"), 17);
  EXPECT_EQ(FindFormatCode(""), -2);
  // The class's names refuse VIP; the library reads it.
  EXPECT_EQ(FindFormatCode("A.VIP", false), -2);
  EXPECT_EQ(FindFormatCode("A.vip", true), 22);
}

TEST(PathResolution, AppendsTheExtensionOnlyToDrivePaths) {
  EXPECT_EQ(ResolvePath("C:\\A\\DESIGN", 0), "C:\\A\\DESIGN.DST");
  EXPECT_EQ(ResolvePath("C:\\A\\DESIGN.dst", 0), "C:\\A\\DESIGN.dst");
  EXPECT_EQ(ResolvePath("C:\\A\\$TEMP.TMP", 0), "C:\\A\\$TEMP.TMP");
  EXPECT_EQ(ResolvePath("DESIGN", 0), "DESIGN");
  EXPECT_EQ(ResolvePath("/tmp/DESIGN", 0), "/tmp/DESIGN");
  EXPECT_EQ(ResolvePath("C:\\A\\DESIGN.U01", 17), "C:\\A\\DESIGN.U01.DSB");
  EXPECT_EQ(ResolvePath("C:\\A\\DESIGN", 11), "C:\\A\\DESIGN.");
  EXPECT_EQ(ResolvePath("C:\\A\\DESIGN", -2), "C:\\A\\DESIGN");
  // Only ".TMP" exactly: a lower-case ".tmp" is not a working file.
  EXPECT_EQ(ResolvePath("C:\\A\\X.tmp", 0), "C:\\A\\X.tmp.DST");
}

TEST(Numbers, TwoAndFourByteValues) {
  EXPECT_EQ(Bytes2ToInt(Bytes({0xFF, 0xFF})), -1);
  EXPECT_EQ(Bytes2ToInt(Bytes({0x00, 0x80})), -32768);
  EXPECT_EQ(Bytes2ToInt(Bytes({0xFF, 0x7F})), 32767);
  // Only the first and last characters count.
  EXPECT_EQ(Bytes2ToInt(Bytes({0x01, 0x55, 0x02})), 0x0201);
  EXPECT_EQ(IntToBytes2(-1), Bytes({0xFF, 0xFF}));
  EXPECT_EQ(IntToBytes2(40000), Bytes({0x40, 0x9C}));
  EXPECT_EQ(IntToBytes2(-1.9), Bytes({0xFF, 0xFF}));
  EXPECT_EQ(IntToBytes2(65535), Bytes({0xFF, 0xFF}));
  EXPECT_EQ(IntToBytes2(-32768), Bytes({0x00, 0x80}));
  for (double outside : {65536.0, -32769.0, 1e300}) {
    try {
      IntToBytes2(outside);
      ADD_FAILURE() << outside << " should overflow";
    } catch (const RunTimeError& e) {
      EXPECT_EQ(e.Code(), kOverflow);
    }
  }
  EXPECT_EQ(IntToBytes4(-1), Bytes({0xFF, 0xFF, 0xFF, 0xFF}));
  EXPECT_EQ(IntToBytes4(258), Bytes({0x02, 0x01, 0x00, 0x00}));
  EXPECT_EQ(Bytes4ToInt(Bytes({0xFF, 0xFF, 0xFF, 0xFF})), -1);
  EXPECT_EQ(Bytes4ToInt(Bytes({0x02, 0x01, 0x00, 0x00})), 258);
  EXPECT_EQ(Bytes4ToInt(IntToBytes4(-2147483648.0)), INT32_MIN);
  EXPECT_THROW(Bytes4ToInt(Bytes({1, 2, 3})), RunTimeError);
}

TEST(Numbers, RoundingIsToNearestWithTiesToEven) {
  EXPECT_EQ(RoundHalfEven(2.5), 2);
  EXPECT_EQ(RoundHalfEven(3.5), 4);
  EXPECT_EQ(RoundHalfEven(-2.5), -2);
  EXPECT_EQ(RoundHalfEven(-3.5), -4);
  EXPECT_EQ(RoundHalfEven(0.49999), 0);
  EXPECT_EQ(RoundHalfEven(320.5000001), 321);
  EXPECT_EQ(RoundHalfEven(1e300), 1e300);
  for (double v = -1000; v <= 1000; v += 0.25) ASSERT_EQ(RoundHalfEven(v), std::nearbyint(v));
}

TEST(Numbers, FileNameOfAPath) {
  EXPECT_EQ(FileNameOf("C:\\A\\B.DST"), "B.DST");
  EXPECT_EQ(FileNameOf("B.DST"), "B.DST");
  EXPECT_EQ(FileNameOf("C:\\A\\"), "");
  EXPECT_EQ(FileNameOf("/tmp/x/B.DST"), "B.DST");
}

}  // namespace
}  // namespace tavlin
