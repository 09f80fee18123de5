// A failing disc, sector by sector: for a write, a delete and a format on a disc of each
// family holding two designs (and on a DOS disc a write that replaces a file), the k-th
// sector transfer of the operation fails (and so does every later try at that same
// sector, as a bad sector would), for every k from the first to the last the operation
// makes. After each, the operation must have answered its documented code, the designs
// that stood must read back byte for byte, the next listing must succeed, a DOS disc must
// pass fsck.fat, and the next write must go through whole. A format that fails part way
// is the one exception: what its listing then gives is counted in the table the test prints.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <map>
#include <optional>
#include <tuple>

#include "discs/disc_script.h"
#include "platform/run_time_error.h"

namespace tavlin {
namespace {

struct Family {
  const char* name;
  ImageFamily image;
  int16_t formatType;
  int16_t fails;  // what a write or a delete whose sector fails answers; a format answers 1
  bool dos;
};
constexpr Family kFamilies[] = {{"FMC", ImageFamily::Fmc, FMC, 1, false},
                                {"FDR3", ImageFamily::Fdr3, FDR3, 1, false},
                                {"ZSK", ImageFamily::Zsk, ZSKDisc, 1, false},
                                {"DOS", ImageFamily::Dos720, OtherDOS, kPathFileAccess, true}};

enum class Operation { Write, Replace, Delete, Format };
constexpr const char* kOperations[] = {"write", "replace", "delete", "format"};
constexpr const char* kTransfers[] = {"read", "write", "format"};  // by SectorOp

// Counts the transfers of an operation and fails the k-th, and every later transfer of
// that same kind at that same sector.
struct FaultPlan {
  using Transfer = std::tuple<SectorOp, int, int, int>;
  int failAt = 0;  // 0: none fails
  int seen = 0;
  std::optional<Transfer> bad;

  void Install(PlatformState& platform) {
    platform.fault = [this](SectorOp op, int track, int head, int sector) {
      const Transfer transfer{op, track, head, sector};
      if (++seen == failAt) bad = transfer;
      return bad == transfer;
    };
  }
};

class Sweep {
 public:
  explicit Sweep(const Family& family) : family_(family), disc_(family.image, family.formatType) {}

  PlatformState& Platform() { return ThreadSharedRecord().platform; }

  // Formats, writes two designs, and keeps the image and what it holds.
  void Prepare() {
    ASSERT_EQ(disc_.formatResult, 0);
    ASSERT_EQ(disc_.Write(test::ZigzagDst(300), "one.DST", family_.dos ? "A:\\FIRST.DST" : ""), 0);
    ASSERT_EQ(disc_.Write(test::ZigzagDst(700, 3, 4, 90), "two.DST", family_.dos ? "A:\\SECOND.DST" : ""), 0);
    saved_ = disc_.Bytes();
    before_ = Contents();
    ASSERT_EQ(before_.size(), 2u);
  }

  // What the disc holds: every design as the disc reads it back (a DOS disc: every
  // file's own bytes, under its name), through a fresh listing. A disc whose listing
  // throws (a DOS disc left with no file system) holds nothing that reads.
  std::vector<std::string> Contents() {
    try {
      if (!family_.dos) return disc_.Designs();
      std::vector<std::string> files;
      for (const std::string& name : ListFiles(Platform(), "A:\\*.*")) {
        const std::unique_ptr<FileBackend> file = OpenFile(Platform(), "A:\\" + name);
        std::string bytes(static_cast<size_t>(file->Length()), '\0');
        file->ReadAt(0, bytes.data(), bytes.size());
        files.push_back(name + '\0' + bytes);
      }
      return files;
    } catch (const RunTimeError&) {
      return {};
    }
  }

  // The listing's result; a listing that throws gives the run-time code, negated.
  int List() try { return disc_.List(); } catch (const RunTimeError& e) { return -e.Code(); }

  // What the disc holds, in words: "as before", "as done" (the operation whole), or
  // each design named by what it matches ("1st 2nd new ?").
  std::string Describe(const std::vector<std::string>& now, const std::vector<std::string>& done) const {
    if (now == before_ || now.empty() || now == done) return now == before_ ? "as before" : now.empty() ? "no design" : "as done";
    std::string words;
    for (const std::string& design : now) {
      const auto stood = std::find(before_.begin(), before_.end(), design) - before_.begin();
      words += stood == 0 ? " 1st" : stood == 1 ? " 2nd" : !done.empty() && design == done.back() ? " new" : " ?";
    }
    return words.substr(1);
  }

  // The disc as prepared, and a listing of it for the operation to go by.
  void Restore() {
    disc_.Patch(0, saved_);
    EXPECT_EQ(List(), 0);
  }

  int16_t Run(Operation op) {
    switch (op) {
      case Operation::Write:
        return disc_.Write(test::ZigzagDst(900, 0, 0, 200), "new.DST", family_.dos ? "A:\\NEW.DST" : "");
      case Operation::Replace:
        return disc_.Write(test::ZigzagDst(1500), "new.DST", "A:\\SECOND.DST");
      case Operation::Delete:
        return disc_.tavlin.DeleteFromDisc(0, family_.dos ? "A:\\FIRST.DST" : "", family_.formatType);
      case Operation::Format:
        return disc_.tavlin.FormatDisc(family_.formatType);
    }
    return -1;
  }

  struct Row {
    int transfers = 0;
    std::map<std::string, int> outcomes;  // "answer, what the disc then holds" -> how many k
    std::map<std::string, int> failed;    // kind of the transfer that failed -> how many k
  };

  Row SweepOf(Operation op) {
    Row row;
    // The operation whole: how many transfers it makes, and what it leaves.
    Restore();
    FaultPlan counting;
    counting.Install(Platform());
    EXPECT_EQ(Run(op), 0) << kOperations[static_cast<int>(op)];
    Platform().fault = nullptr;
    const std::vector<std::string> done = Contents();
    row.transfers = counting.seen;

    for (int k = 1; k <= row.transfers; ++k) {
      SCOPED_TRACE(::testing::Message() << family_.name << " " << kOperations[static_cast<int>(op)] << " failing transfer " << k);
      Restore();
      FaultPlan plan{.failAt = k, .seen = 0, .bad = std::nullopt};
      plan.Install(Platform());
      const int16_t result = Run(op);
      Platform().fault = nullptr;
      if (plan.bad) ++row.failed[kTransfers[static_cast<int>(std::get<0>(*plan.bad))]];
      const int listed = List();
      const std::string holds = Describe(Contents(), done);
      EXPECT_TRUE(result == 0 || result == (op == Operation::Format ? 1 : family_.fails)) << result;
      if (op == Operation::Format) {
        // A format either ends whole, or fails and says so; only then may the disc be
        // half made, and the table says what its listing gives.
        EXPECT_TRUE(result != 0 || holds == "no design") << holds;
      } else {
        // Whole or not at all. A failure after the directory's sector went out may leave
        // the change whole on the disc ("as done"), never a part of it.
        EXPECT_TRUE(holds == "as done" || (result != 0 && holds == "as before")) << result << " " << holds;
        EXPECT_EQ(listed, 0);
        EXPECT_TRUE(!family_.dos || test::FsckClean(disc_.dir, disc_.image));
        EXPECT_EQ(result == 0 ? 0 : disc_.Write(test::ZigzagDst(50), "after.DST", family_.dos ? "A:\\AFTER.DST" : ""), 0);
      }
      ++row.outcomes["answers " + std::to_string(result) + ", listing " + std::to_string(listed) + ", " + holds];
    }
    return row;
  }

 private:
  const Family& family_;
  test::DiscImage disc_;
  std::string saved_;
  std::vector<std::string> before_;
};

// One family at a time, so that each stays well inside a test's time under the sanitizers.
class FaultSweepOf : public ::testing::TestWithParam<size_t> {};

TEST_P(FaultSweepOf, EverySectorTransferOfAWriteADeleteAndAFormatFailsSafely) {
  const Family& family = kFamilies[GetParam()];
  test::OnFreshThread([&family] {
    Sweep sweep(family);
    sweep.Prepare();
    if (::testing::Test::HasFatalFailure()) return;
    for (const Operation op : {Operation::Write, Operation::Replace, Operation::Delete, Operation::Format}) {
      if (op == Operation::Replace && !family.dos) continue;
      const char* name = kOperations[static_cast<int>(op)];
      const Sweep::Row row = sweep.SweepOf(op);
      EXPECT_GT(row.transfers, 0);
      std::string kinds;
      for (const auto& [kind, n] : row.failed) kinds += (kinds.empty() ? "" : " ") + std::to_string(n) + " " + kind;
      std::printf("fault sweep | %-4s | %-7s | %4d transfers (%s)\n", family.name, name, row.transfers, kinds.c_str());
      for (const auto& [outcome, n] : row.outcomes) {
        std::printf("fault sweep | %-4s | %-7s |   %4d x %s\n", family.name, name, n, outcome.c_str());
      }
    }
  });
}

INSTANTIATE_TEST_SUITE_P(Families, FaultSweepOf, ::testing::Range<size_t>(0, std::size(kFamilies)),
                         [](const ::testing::TestParamInfo<size_t>& tested) {
                           return std::string(kFamilies[tested.param].name);
                         });

// What the sweep first found: a design read off an FDR3 disc left its track side's
// sectors in the buffer the next write lays out a side in, and that write carried them
// onto the sectors of another design. The first design's blocks lie on track 40, the
// second's spill onto track 0, where the next design goes.
TEST(FaultSweep, AWriteAfterAReadCarriesNothingOfTheReadOntoTheDisc) {
  test::OnFreshThread([] {
    test::ScriptedDisc disc(ImageFamily::Fdr3, FDR3);
    ASSERT_TRUE(disc.Run("w300 w700/3/4/90 l r0 w900 l r0~0 r1~1 r2~2"));
  });
}

}  // namespace
}  // namespace tavlin
