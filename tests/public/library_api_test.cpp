// The library API: discs that own their state, listings as entries, written names,
// errors in words, conversions with options; and the README's example, run.
#include <gtest/gtest.h>

#include <filesystem>

#include "tavlin/convert.h"
#include "tavlin/design.h"
#include "tavlin/disc.h"
#include "tavlin/error.h"
#include "tavlin/tavlin.h"
#include "test_support.h"

int PutOnDisc(const std::string& design, const std::string& image, const std::string& dsb);

namespace tavlin {
namespace {

std::string StarDst() { return test::Samples() + "/Star.DST"; }

TEST(LibraryApi, TheReadmeExampleRuns) {
  test::TempDir dir;
  testing::internal::CaptureStdout();
  ASSERT_EQ(PutOnDisc(StarDst(), dir / "fmc.img", dir / "star.DSB"), 0);
  const std::string printed = testing::internal::GetCapturedStdout();
  EXPECT_NE(printed.find("wrote " + StarDst() + " as A01.DAT"), std::string::npos) << printed;
  EXPECT_NE(printed.find("0  A01.DAT"), std::string::npos) << printed;
  EXPECT_EQ(test::NeedlesOf(dir / "star.DSB"), test::NeedlesOf(StarDst()));
}

// Each family, by its name: written, found by the name the write gave, read back into
// another format, deleted; a stale entry is refused and nothing else is touched.
TEST(LibraryApi, DiscsWriteFindReadAndDeleteByTheNameTheyGave) {
  test::TempDir dir;
  const std::vector<test::Needle> star = test::NeedlesOf(StarDst());
  ASSERT_FALSE(DiscFamilies().empty());
  for (const DiscFamily family : DiscFamilies()) {
    const std::string name(DiscFamilyName(family));
    const std::string image = dir / (name + ".img");
    ASSERT_FALSE(FormatDiscImage(image, family)) << name;
    std::error_code ec;
    std::unique_ptr<Disc> disc = Disc::Open(image, std::nullopt, ec);
    ASSERT_TRUE(disc != nullptr) << name << ": " << ec.message();
    EXPECT_EQ(disc->Family(), family);
    EXPECT_TRUE(disc->Listing().designs.empty()) << name;

    std::string first, second;
    ASSERT_FALSE(disc->Write(StarDst(), {.name = "STAR.DST"}, first)) << name;
    ASSERT_FALSE(disc->Write(StarDst(), {.name = "MOON.DST"}, second)) << name;
    EXPECT_NE(first, second) << name;
    ASSERT_EQ(disc->Listing().designs.size(), 2u) << name;
    const DiscEntry* entry = disc->Find(first);
    ASSERT_TRUE(entry != nullptr) << name << " " << first;
    EXPECT_GT(entry->stitches, 0) << name;

    const std::string back = dir / (name + "-back.DSZ");
    ASSERT_FALSE(disc->Read(*entry, back)) << name;
    EXPECT_EQ(test::NeedlesOf(back), star) << name;

    const DiscEntry stale = *entry;
    ASSERT_FALSE(disc->Delete(*entry)) << name;
    EXPECT_EQ(disc->Find(first), nullptr) << name;
    ASSERT_TRUE(disc->Find(second) != nullptr) << name;
    // The entry of a design that is gone names nothing now, though its line is the
    // line of the design that stood behind it.
    EXPECT_EQ(disc->Delete(stale), DiscErrc::NoSuchDesign) << name;
    EXPECT_EQ(disc->Read(stale, back), DiscErrc::NoSuchDesign) << name;
    EXPECT_TRUE(disc->Find(second) != nullptr) << name;
  }
}

// A DOS disc takes a design in any format the library writes, by way of a working format
// where the destination asks for one (a SEW needs a QEP's size), and gives it back whole.
TEST(LibraryApi, ADosDiscTakesEveryFormatByItsRoute) {
  test::TempDir dir;
  const std::vector<test::Needle> star = test::NeedlesOf(StarDst());
  ASSERT_FALSE(FormatDiscImage(dir / "dos.img", DiscFamily::Dos, false));
  std::error_code ec;
  std::unique_ptr<Disc> disc = Disc::Open(dir / "dos.img", DiscFamily::Dos, ec);
  ASSERT_TRUE(disc != nullptr) << ec.message();
  for (const std::string end : {"SEW", "JEF", "VST", "PCS"}) {
    std::string given;
    ASSERT_FALSE(disc->Write(StarDst(), {.name = "STAR." + end}, given)) << end;
    const DiscEntry* entry = disc->Find(given);
    ASSERT_TRUE(entry != nullptr) << end;
    ASSERT_FALSE(disc->Read(*entry, dir / ("back-" + end + ".DST"))) << end;
    // The same design as the library's conversion gives through that format.
    ASSERT_FALSE(Convert(StarDst(), dir / ("star." + end)));
    ASSERT_FALSE(Convert(dir / ("star." + end), dir / ("direct-" + end + ".DST")));
    EXPECT_EQ(test::NeedlesOf(dir / ("back-" + end + ".DST")),
              test::NeedlesOf(dir / ("direct-" + end + ".DST"))) << end;
    EXPECT_NEAR(static_cast<double>(test::NeedlesOf(dir / ("back-" + end + ".DST")).size()),
                static_cast<double>(star.size()), 1.0) << end;
  }
}

// A Disc keeps its own record: what the thread's class object listed stays as it was.
TEST(LibraryApi, ADiscLeavesTheThreadsStateAlone) {
  test::OnFreshThread([] {
    test::TempDir dir;
    ASSERT_FALSE(FormatDiscImage(dir / "a.img", DiscFamily::Fmc));
    BindDriveImage(0, dir / "a.img");
    Tavlin tavlin;
    std::string written;
    std::error_code ec;
    ASSERT_FALSE(FormatDiscImage(dir / "b.img", DiscFamily::Zsk));
    std::unique_ptr<Disc> disc = Disc::Open(dir / "b.img", std::nullopt, ec);
    ASSERT_TRUE(disc != nullptr);
    ASSERT_FALSE(disc->Write(StarDst(), {}, written));
    EXPECT_EQ(written, "1");
    EXPECT_EQ(tavlin.Files(), "");
    EXPECT_EQ(tavlin.DirectoryFMC(), 2);  // the thread's drive A: is still the empty FMC disc
    UnbindDrive(0);
  });
}

TEST(LibraryApi, FailuresAreCodesInWords) {
  test::TempDir dir;
  std::error_code ec;
  std::string why;
  test::WriteBytes(dir / "odd.img", std::string(1000, '\0'));
  EXPECT_EQ(Disc::Open(dir / "odd.img", std::nullopt, ec, &why), nullptr);
  EXPECT_EQ(ec, DiscErrc::DriveNotReady);
  EXPECT_NE(why.find("1000"), std::string::npos) << why;

  // A family named for a disc of another: its listing finds it out.
  ASSERT_FALSE(FormatDiscImage(dir / "zsk.img", DiscFamily::Zsk));
  EXPECT_EQ(Disc::Open(dir / "zsk.img", DiscFamily::Fmc, ec), nullptr);
  EXPECT_EQ(ec, DiscErrc::NotThisFamily);

  // A full disc says so; the design that stood is still there.
  ASSERT_FALSE(FormatDiscImage(dir / "fmc.img", DiscFamily::Fmc));
  std::unique_ptr<Disc> disc = Disc::Open(dir / "fmc.img", DiscFamily::Fmc, ec);
  std::string name;
  ASSERT_FALSE(disc->Write(StarDst(), {}, name));
  test::WriteBytes(dir / "big.DST", test::ZigzagDst(250000));
  ec = disc->Write(dir / "big.DST", {}, name);
  EXPECT_EQ(ec, DiscErrc::NoRoom);
  EXPECT_EQ(ec.message(), "not enough free room on the disc for the design");
  EXPECT_EQ(disc->Listing().designs.size(), 1u);

  // A name the disc can't keep is refused, never cut inside a character.
  ASSERT_FALSE(FormatDiscImage(dir / "fdr3.img", DiscFamily::Fdr3));
  std::unique_ptr<Disc> fdr3 = Disc::Open(dir / "fdr3.img", DiscFamily::Fdr3, ec);
  EXPECT_EQ(fdr3->Write(StarDst(), {.name = "\xC3\x84\xC3\x96\xC3\x9C"}, name), DiscErrc::BadName);
  EXPECT_TRUE(fdr3->Listing().designs.empty());

  // A full directory is named as such; the class answers 5, as for blocks.
  ASSERT_FALSE(FormatDiscImage(dir / "zsk46.img", DiscFamily::Zsk));
  std::unique_ptr<Disc> zsk = Disc::Open(dir / "zsk46.img", DiscFamily::Zsk, ec);
  test::WriteBytes(dir / "small.DST", test::ZigzagDst(5));
  for (int i = 0; i < 46; ++i) ASSERT_FALSE(zsk->Write(dir / "small.DST", {}, name)) << i;
  EXPECT_EQ(zsk->Write(dir / "small.DST", {}, name), DiscErrc::DirectoryFull);
  EXPECT_EQ(zsk->Listing().designs.size(), 46u);
  test::OnFreshThread([&dir] {
    BindDriveImage(0, dir / "zsk46.img");
    Tavlin tavlin;
    EXPECT_EQ(tavlin.WriteToDisc(dir / "small.DST", "X", ZSKDisc), 5);
    UnbindDrive(0);
  });

  // A conversion's failure keeps its number and its words.
  ec = Convert(dir / "missing.DST", dir / "out.DSB");
  EXPECT_EQ(ec, ResultCode(53));
  EXPECT_EQ(ec.message(), "file not found");
  EXPECT_FALSE(std::filesystem::exists(dir / "out.DSB"));
}

TEST(LibraryApi, ConversionsTakeTheirOptions) {
  test::TempDir dir;
  // A QEP holds absolute positions: a stitch 30 mm from the start is one step of 300,
  // which the frame splits into jumps of the longest stitch and a last stitch.
  test::WriteBytes(dir / "long.QEP", std::string(512, ' ') +
                                         test::Bytes({5, 0, 0, 0, 0, 0, 0x2C, 0x01, 0, 0, 6, 0,
                                                      0, 0, 0}));
  auto jumpsAt = [&dir](int16_t longest) {
    const ConvertOptions options{.maxStitchLength = longest};
    EXPECT_FALSE(Convert(dir / "long.QEP", dir / "split.DST", options));
    int jumps = 0;
    EXPECT_FALSE(ReadDesign(dir / "split.DST", [&jumps](const DesignStep& s) {
      if (s.kind == StepKind::Jump) ++jumps;
    }));
    return jumps;
  };
  EXPECT_LT(jumpsAt(121), jumpsAt(20));
  // A length the frame can't divide by is refused before anything is written.
  EXPECT_EQ(Convert(dir / "long.QEP", dir / "none.DST", {.maxStitchLength = 0}), ResultCode(5));
  EXPECT_FALSE(std::filesystem::exists(dir / "none.DST"));

  // Progress: the whole is the source's length, and what is done never passes it.
  test::WriteBytes(dir / "many.DST", test::ZigzagDst(5000));
  double whole = 0, last = 0;
  int reports = 0;
  ConvertOptions options;
  options.progress = [&](double done, double total) {
    whole = total;
    last = done;
    ++reports;
  };
  ASSERT_FALSE(Convert(dir / "many.DST", dir / "many.DSB", options));
  EXPECT_EQ(reports, 5);
  EXPECT_EQ(whole, static_cast<double>(std::filesystem::file_size(dir / "many.DST")));
  EXPECT_LE(last, whole);
}

// The free room a listing shows is what the next write takes: a design of that many
// records goes on, one a block larger is refused, on an empty disc of each family that
// writes in blocks.
TEST(LibraryApi, TheFreeRoomShownIsWhatTheNextWriteTakes) {
  test::TempDir dir;
  for (const DiscFamily family : {DiscFamily::Fmc, DiscFamily::Fdr3, DiscFamily::Zsk}) {
    const std::string name(DiscFamilyName(family));
    ASSERT_FALSE(FormatDiscImage(dir / (name + ".img"), family));
    std::error_code ec;
    std::unique_ptr<Disc> disc = Disc::Open(dir / (name + ".img"), std::nullopt, ec);
    ASSERT_TRUE(disc != nullptr) << name;
    const int32_t free = disc->Listing().freeStitches;
    ASSERT_GT(free, 100000) << name;
    // The class keeps its own figure: an empty disc's listing stops before counting.
    test::OnFreshThread([&] {
      BindDriveImage(0, dir / (name + ".img"));
      Tavlin tavlin;
      EXPECT_EQ(tavlin.ReadDisc(), 2) << name;
      EXPECT_EQ(tavlin.FreeStitches(), 0) << name;
      UnbindDrive(0);
    });
    std::string written;
    // A jump and its stitches: one record each.
    test::WriteBytes(dir / "over.DST", test::ZigzagDst(free + 1400));
    EXPECT_EQ(disc->Write(dir / "over.DST", {}, written), DiscErrc::NoRoom) << name;
    test::WriteBytes(dir / "fits.DST", test::ZigzagDst(free - 1));
    EXPECT_FALSE(disc->Write(dir / "fits.DST", {}, written)) << name;
    EXPECT_LT(disc->Listing().freeStitches, 1400) << name;
  }
}

}  // namespace
}  // namespace tavlin
