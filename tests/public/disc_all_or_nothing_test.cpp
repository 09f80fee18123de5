// The library's disc writes and deletes are all or nothing: on a disc of each family
// holding two designs, the k-th sector transfer of a write (and of a delete) fails, and
// so does every later try at that sector, for every k up to the operation's last
// transfers. Each failure must leave the image byte for byte as it was: the listing, the
// free room and every design. (The class's own sweep, in tests/discs, shows its codes.)
#include <gtest/gtest.h>

#include <algorithm>
#include <optional>
#include <tuple>

#include "tavlin/disc.h"
#include "tavlin/drive.h"
#include "tavlin/error.h"
#include "tavlin/tavlin.h"
#include "test_support.h"

namespace tavlin {
namespace {

struct Row {
  DiscFamily family;
  const char* image;
};

constexpr Row kRows[] = {
    {DiscFamily::Fmc, "fmc.img"},
    {DiscFamily::Fdr3, "fdr3.img"},
    {DiscFamily::Zsk, "zsk.img"},
    {DiscFamily::Dos, "dos.img"},
};

std::unique_ptr<Disc> Opened(const std::string& image, DiscFamily family) {
  std::error_code ec;
  std::unique_ptr<Disc> disc = Disc::Open(image, family, ec);
  EXPECT_TRUE(disc) << image << ": " << ec.message();
  return disc;
}

// Fails the k-th transfer and every later one at the same sector; counts them all.
struct Fault {
  using Place = std::tuple<bool, int, int, int>;
  int failAt = 0;
  int seen = 0;
  std::optional<Place> bad;
  bool operator()(bool write, int track, int head, int sector) {
    const Place place{write, track, head, sector};
    if (bad && *bad == place) return true;
    if (++seen != failAt) return false;
    bad = place;
    return true;
  }
};

// Runs the operation on a fresh copy of the prepared image with the k-th transfer
// failing; 0 runs it whole. Gives the number of transfers it made and whether it failed.
template <typename Operation>
std::pair<int, bool> Attempt(const test::TempDir& dir, const Row& row, const std::string& prepared,
                             int failAt, Operation operation) {
  const std::string image = dir / (std::string("try-") + row.image);
  test::WriteBytes(image, prepared);
  std::unique_ptr<Disc> disc = Opened(image, row.family);
  if (!disc) return {0, false};
  auto fault = std::make_shared<Fault>();
  fault->failAt = failAt;
  disc->FailTransfersForTests([fault](bool w, int t, int h, int s) { return (*fault)(w, t, h, s); });
  const bool failed = static_cast<bool>(operation(*disc));
  if (failed) {
    EXPECT_EQ(test::ReadBytes(image), prepared) << row.image << ": transfer " << failAt;
  }
  return {fault->seen, failed};
}

TEST(DiscAllOrNothing, AFailedTransferAnywhereLeavesTheImageAsItWas) {
  test::TempDir dir;
  const std::string star = test::Samples() + "/Star.DST";
  for (const Row& row : kRows) {
    const std::string image = dir / row.image;
    ASSERT_FALSE(FormatDiscImage(image, row.family));
    {
      std::unique_ptr<Disc> disc = Opened(image, row.family);
      ASSERT_TRUE(disc);
      for (const char* name : {"ONE.DST", "TWO.DST"}) {
        std::string written;
        ASSERT_FALSE(disc->Write(star, {.name = row.family == DiscFamily::Dos ? name : ""}, written));
      }
    }
    const std::string prepared = test::ReadBytes(image);
    auto write = [&star, &row](Disc& disc) {
      std::string written;
      return disc.Write(star, {.name = row.family == DiscFamily::Dos ? "NEW.DST" : ""}, written);
    };
    auto remove = [](Disc& disc) { return disc.Delete(disc.Listing().designs.front()); };
    for (int op = 0; op < 2; ++op) {
      const int transfers = op == 0 ? Attempt(dir, row, prepared, 0, write).first
                                    : Attempt(dir, row, prepared, 0, remove).first;
      ASSERT_GT(transfers, 0) << row.image;
      int failures = 0;
      // Transfers spread over the whole operation, and its last three: the end of a
      // write is where a retry once found its design listed whole, or its room gone for
      // good. (The class's sweep fails every transfer; a change here runs on a copy, so
      // where it fails matters less than that it fails at all stages.)
      const int stride = std::max(1, transfers / 16);
      for (int k = 1; k <= transfers; k += (k >= transfers - 3 ? 1 : stride)) {
        failures += op == 0 ? Attempt(dir, row, prepared, k, write).second
                            : Attempt(dir, row, prepared, k, remove).second;
      }
      EXPECT_GT(failures, 0) << row.image << (op == 0 ? " write" : " delete");
      // A disc that saw a failure opens as before, with its two designs and its room.
      std::unique_ptr<Disc> before = Opened(image, row.family);
      ASSERT_TRUE(before);
      EXPECT_EQ(before->Listing().designs.size(), 2u) << row.image;
    }
  }
}

}  // namespace
}  // namespace tavlin

namespace tavlin {
namespace {

// Where the two faces differ: the class identifies an FMC image whose signature was
// changed as the disc of no mark, FDR3, as its identification reads; the library finds
// no family's signature on it and writes nothing.
TEST(DiscAllOrNothing, ADamagedFmcIsFdr3ToTheClassAndNoFamilyToTheLibrary) {
  test::OnFreshThread([] {
    test::TempDir dir;
    const std::string image = dir / "fmc.img";
    ASSERT_FALSE(FormatDiscImage(image, DiscFamily::Fmc));
    std::string bytes = test::ReadBytes(image);
    bytes.replace(16385, 4, "XXXX");
    test::WriteBytes(image, bytes);

    BindDriveImage(0, image);
    Tavlin tavlin;
    tavlin.ReadDisc();
    EXPECT_EQ(tavlin.DiscType(), 1);  // FDR3
    UnbindDrive(0);

    std::error_code ec;
    EXPECT_EQ(Disc::Open(image, std::nullopt, ec), nullptr);
    EXPECT_EQ(ec, DiscErrc::NoFamily);
    EXPECT_EQ(Disc::Open(image, DiscFamily::Fdr3, ec), nullptr);
    EXPECT_EQ(ec, DiscErrc::NotThisFamily);
    EXPECT_EQ(test::ReadBytes(image), bytes);
  });
}

}  // namespace
}  // namespace tavlin
