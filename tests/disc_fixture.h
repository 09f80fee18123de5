// A disc image of a family, formatted, bound to drive A: of the calling thread, and
// driven through the public class as a host would.
#pragma once

#include <algorithm>
#include <cstdlib>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "discs/disc_families.h"
#include "services/platform_steps.h"
#include "state/shared_record.h"
#include "tavlin/tavlin.h"
#include "test_support.h"

namespace tavlin::test {

// Where a sector of a raw image lies: by cylinder, then head, then sector id.
inline size_t SectorOffset(int track, int head, int sector, size_t sectors = 16, size_t size = 256) {
  return ((static_cast<size_t>(track) * 2 + static_cast<size_t>(head)) * sectors +
          static_cast<size_t>(sector) - 1) * size;
}

// Whether the designs that stood on a disc still read back byte for byte, in their
// order (a directory written in part may already show a new design behind them).
inline bool StillStand(const std::vector<std::string>& before, const std::vector<std::string>& now) {
  return now.size() >= before.size() && std::equal(before.begin(), before.end(), now.begin());
}

// Runs an mtools command on an image, expecting it to succeed; gives its output.
inline std::string Mtools(const TempDir& dir, const std::string& command) {
  const std::string out = dir / "mtools.txt";
  const int status = std::system((command + " >" + out + " 2>&1").c_str());
  EXPECT_EQ(status, 0) << command << "\n" << ReadBytes(out);
  return ReadBytes(out);
}

// A sector write that fails, for the tests of what a failure leaves on the disc.
struct WriteFault {
  const char* what;  // "data", "index", "table" or "directory"
  int track, head, sector;
};

class DiscImage {
 public:
  DiscImage(ImageFamily family, int16_t formatType) : formatType_(formatType), image(dir / "disc.img") {
    WriteBytes(image, std::string(static_cast<size_t>(ImageBytes(family)), '\0'));
    BindDriveImage(0, image);
    formatResult = tavlin.FormatDisc(formatType);
  }

  // The family's own listing, as the class's Directory calls run it.
  int16_t List() {
    const DiscFamilyRecord* family = DiscFamilyByFormatType(formatType_);
    if (family == nullptr) return -1;
    SharedRecord& shared = ThreadSharedRecord();
    if (!family->sectorAccess) return family->list(shared);
    return WithSectorAccess(shared, [&] { return family->list(shared); });
  }

  // Writes a DST of these bytes under a file name of its own.
  int16_t Write(const std::string& dst, const std::string& name = "design.DST",
                const std::string& destFile = "") {
    WriteBytes(dir / name, dst);
    return tavlin.WriteToDisc(dir / name, destFile, formatType_, progress);
  }

  // The design at a line of the listing, as the QEP the disc gives; empty on failure.
  std::string Read(int16_t line, int16_t* result = nullptr) {
    const std::string out = LastRead(++reads);
    const int16_t r = tavlin.ReadFromDisc(line, "", out, formatType_, progress);
    if (result != nullptr) *result = r;
    return r == 0 && std::filesystem::exists(out) ? ReadBytes(out) : std::string();
  }
  std::string LastRead(int n = 0) const { return dir / ("read" + std::to_string(n == 0 ? reads : n) + ".QEP"); }

  int16_t Delete(int16_t line) { return tavlin.DeleteFromDisc(line, "", formatType_); }

  std::vector<std::string> Lines() const {
    std::vector<std::string> lines;
    const std::string files = tavlin.Files();
    for (size_t at = 0; at < files.size(); at = files.find('\0', at) + 1) {
      lines.push_back(files.substr(at, files.find('\0', at) - at));
    }
    return lines;
  }

  // The QEP of every design on the disc, through a fresh listing.
  std::vector<std::string> Designs() {
    std::vector<std::string> designs;
    if (List() != 0) return designs;
    for (size_t line = 0; line < Lines().size(); ++line) designs.push_back(Read(static_cast<int16_t>(line)));
    return designs;
  }

  // Whether the design at a line reads back with the stitches of this DST.
  ::testing::AssertionResult ReadsBackAs(int16_t line, const std::string& dst) {
    WriteBytes(dir / "expected.DST", dst);
    if (Read(line).empty()) return ::testing::AssertionFailure() << "line " << line << " can't be read";
    if (NeedlesOf(LastRead()) != NeedlesOf(dir / "expected.DST")) {
      return ::testing::AssertionFailure() << "line " << line << " reads back other stitches";
    }
    return ::testing::AssertionSuccess();
  }

  // Fails the writes that `fails` names until the next call; null fails none.
  void FailWrites(std::function<bool(int track, int head, int sector)> fails) {
    PlatformState& platform = ThreadSharedRecord().platform;
    if (!fails) {
      platform.fault = nullptr;
      return;
    }
    platform.fault = [fails](SectorOp op, int track, int head, int sector) {
      return op == SectorOp::Write && fails(track, head, sector);
    };
  }

  // A write with the fault's sector failing answers 1, and the designs that stood
  // still read back; before the directory, nothing of the new design shows.
  void ExpectSafeFailure(const WriteFault& fault, const std::string& dst,
                         const std::vector<std::string>& before) {
    FailWrites([fault](int track, int head, int sector) {
      return track == fault.track && head == fault.head && sector == fault.sector;
    });
    EXPECT_EQ(Write(dst), 1) << fault.what;
    FailWrites(nullptr);
    const std::vector<std::string> now = Designs();
    EXPECT_TRUE(StillStand(before, now)) << fault.what;
    if (std::string(fault.what) != "directory") {
      EXPECT_EQ(now.size(), before.size()) << fault.what;
    }
  }

  std::string Bytes() const { return ReadBytes(image); }
  void Patch(size_t offset, const std::string& bytes) {
    std::string all = Bytes();
    all.replace(offset, bytes.size(), bytes);
    WriteBytes(image, all);
    BindDriveImage(0, image);
  }

 private:
  int16_t formatType_;

 public:
  TempDir dir;
  std::string image;
  Tavlin tavlin;
  int16_t formatResult = -1;
  std::shared_ptr<RecordingProgress> progress = std::make_shared<RecordingProgress>();
  int reads = 0;
};


}  // namespace tavlin::test
