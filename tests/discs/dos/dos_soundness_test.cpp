// DOS disc images judged by fsck.fat and mtools: filled until a write is refused, a
// sector failing at every point of one write, long names left by other systems, the
// dates of what we write, and the empty layouts of both sizes.
#include <gtest/gtest.h>

#include <sys/wait.h>

#include <cstdio>
#include <ctime>
#include <map>
#include <set>
#include <tuple>

#include "discs/dos/dos_disc.h"
#include "platform/files.h"
#include "platform/run_time_error.h"
#include "state/shared_record.h"
#include "tavlin/tavlin.h"
#include "test_support.h"

namespace tavlin {
namespace {

using test::TempDir;

struct Ran {
  int status;
  std::string out;
};

Ran Shell(const TempDir& dir, const std::string& command) {
  const std::string out = dir / "run.txt";
  const int raw = std::system((command + " >" + out + " 2>&1").c_str());
  return {WIFEXITED(raw) ? WEXITSTATUS(raw) : -1, test::ReadBytes(out)};
}

// fsck.fat finds nothing to say: exit 0 and no line but its banner and its summary.
::testing::AssertionResult FsckClean(const TempDir& dir, const std::string& image) {
  const Ran r = Shell(dir, "fsck.fat -n " + image);
  size_t lines = 0;
  for (char c : r.out) lines += c == '\n' ? 1 : 0;
  if (r.status == 0 && lines == 2) return ::testing::AssertionSuccess();
  return ::testing::AssertionFailure() << "fsck.fat -n says (" << r.status << "):\n" << r.out;
}

// The files mtools sees, by name, with their bytes as mcopy gives them.
std::map<std::string, std::string> FilesOf(const TempDir& dir, const std::string& image) {
  std::map<std::string, std::string> files;
  const Ran list = Shell(dir, "mdir -b -i " + image + " ::");
  EXPECT_EQ(list.status, 0) << list.out;
  size_t at = 0;
  while (at < list.out.size()) {
    const size_t end = list.out.find('\n', at);
    std::string line = list.out.substr(at, end - at);
    at = end == std::string::npos ? list.out.size() : end + 1;
    if (line.rfind("::/", 0) != 0) continue;
    const std::string name = line.substr(3);
    const std::string copy = dir / "mcopy.out";
    std::remove(copy.c_str());
    const Ran r = Shell(dir, "mcopy -n -i " + image + " '::" + name + "' " + copy);
    EXPECT_EQ(r.status, 0) << r.out;
    files[name] = test::ReadBytes(copy);
  }
  return files;
}

// The figure mdir gives as "NNN NNN bytes free".
int64_t MdirFreeBytes(const TempDir& dir, const std::string& image) {
  const Ran r = Shell(dir, "mdir -i " + image + " ::");
  const size_t end = r.out.find("bytes free");
  size_t start = r.out.rfind('\n', end);
  int64_t value = 0;
  for (size_t i = start + 1; i < end; ++i) {
    if (r.out[i] >= '0' && r.out[i] <= '9') value = value * 10 + (r.out[i] - '0');
  }
  return value;
}

// An image laid out by these writes on tracks that formatting filled with 0xE5.
std::string LaidOut(const std::vector<LayoutWrite>& writes, int sectorsPerTrack) {
  std::string image(static_cast<size_t>(80 * 2 * sectorsPerTrack) * 512, '\xE5');
  for (const LayoutWrite& w : writes) {
    EXPECT_EQ(w.bytes.size(), 512u);
    const size_t at = ((static_cast<size_t>(w.track) * 2 + static_cast<size_t>(w.head)) *
                           static_cast<size_t>(sectorsPerTrack) + static_cast<size_t>(w.sector) - 1) * 512;
    image.replace(at, 512, w.bytes);
  }
  return image;
}

struct Size {
  const char* what;
  std::vector<LayoutWrite> (*layout)();
  int sectorsPerTrack;
  int64_t freeBytes;  // empty
  int clusterBytes;
};

const Size kSizes[] = {{"720 KB", DosSoundEmptyLayout720, 9, 713 * 1024, 1024},
                       {"1.44 MB", DosEmptyLayout1440, 18, 2847 * 512, 512}};

// A sound empty disc in drive A:, written to through the class as a host would.
struct SoundDisc {
  explicit SoundDisc(const Size& size) : image(dir / "disc.img") {
    test::WriteBytes(image, LaidOut(size.layout(), size.sectorsPerTrack));
    Rebind();
  }
  void Rebind() { BindDriveImage(0, image); }
  int16_t Write(const std::string& design, const std::string& name) {
    test::WriteBytes(dir / "source.DST", design);
    return tavlin.WriteToDisc(dir / "source.DST", "A:\\" + name, OtherDOS, progress);
  }
  // Puts host files on the disc with mcopy; the file system is read afresh after.
  void Mcopy(const std::vector<std::string>& hostFiles) {
    std::string command = "mcopy -i " + image;
    for (const std::string& f : hostFiles) command += " '" + f + "'";
    const Ran r = Shell(dir, command + " ::");
    EXPECT_EQ(r.status, 0) << r.out;
    Rebind();
  }
  TempDir dir;
  std::string image;
  Tavlin tavlin;
  std::shared_ptr<test::RecordingProgress> progress = std::make_shared<test::RecordingProgress>();
};

// The boot sector, FATs and root of an image: what says which files stand.
std::string SystemArea(const std::string& image, int dataOffset) {
  return test::ReadBytes(image).substr(0, static_cast<size_t>(dataOffset));
}

TEST(DosSoundness, EmptyLayoutsPassFsckAndMtools) {
  test::OnFreshThread([] {
    for (const Size& size : kSizes) {
      SCOPED_TRACE(size.what);
      SoundDisc disc(size);
      EXPECT_TRUE(FsckClean(disc.dir, disc.image));
      EXPECT_EQ(MdirFreeBytes(disc.dir, disc.image), size.freeBytes);
      const std::string boot = test::ReadBytes(disc.image).substr(0, 512);
      EXPECT_EQ(static_cast<uint8_t>(boot[38]), 0x29);
      EXPECT_EQ(boot.substr(43, 19), "NO NAME    FAT12   ");
      EXPECT_EQ(boot.substr(510), "\x55\xAA");
      // The start code sits behind the label and finds its message where it now is.
      EXPECT_EQ(boot.substr(0, 2), "\xEB\x3C");
      EXPECT_EQ(static_cast<uint8_t>(boot[62 + 15]), 112);
      EXPECT_EQ(boot.substr(112 + 16, 6), std::string(30, ' ').substr(0, 6));
      EXPECT_NE(boot.find("This Disc Ain't A Boot Disc"), std::string::npos);
      // Our own file system reads the geometry from the disc.
      EXPECT_EQ(DosFreeBytes(ThreadSharedRecord()), size.freeBytes);
      EXPECT_TRUE(FilesOf(disc.dir, disc.image).empty());
    }
    // The class's disc keeps its historic boot sector, start code where the label
    // field would be; mtools still reads it.
    const std::string classBoot = BuildBootSector();
    EXPECT_EQ(static_cast<uint8_t>(classBoot[38]), 0);
    EXPECT_EQ(static_cast<uint8_t>(classBoot[42]), 0xFA);
  });
}

TEST(DosSoundness, FilledUntilRefusedLosesNothing) {
  test::OnFreshThread([] {
    for (const Size& size : kSizes) {
      SCOPED_TRACE(size.what);
      SoundDisc disc(size);
      // Another program's file takes all but the room of eight designs and a bit.
      const int64_t filler = size.freeBytes - 42 * 1024 - 100;
      test::WriteBytes(disc.dir / "FILLER.BIN", std::string(static_cast<size_t>(filler), 'f'));
      disc.Mcopy({disc.dir / "FILLER.BIN"});
      std::map<std::string, std::string> standing = FilesOf(disc.dir, disc.image);
      ASSERT_EQ(standing.size(), 1u);
      int16_t result = 0;
      int written = 0;
      for (int i = 0; i < 20 && result == 0; ++i) {
        const std::string name = "D" + std::to_string(i) + ".DST";
        const int64_t freeBefore = DosFreeBytes(ThreadSharedRecord());
        EXPECT_EQ(freeBefore, MdirFreeBytes(disc.dir, disc.image));
        result = disc.Write(test::ZigzagDst(1400 + 10 * i), name);
        EXPECT_TRUE(FsckClean(disc.dir, disc.image)) << name;
        const std::map<std::string, std::string> now = FilesOf(disc.dir, disc.image);
        for (const auto& [was, bytes] : standing) {
          ASSERT_TRUE(now.count(was)) << was << " went missing writing " << name;
          EXPECT_EQ(now.at(was), bytes) << was << " changed writing " << name;
        }
        if (result == 0) {
          ++written;
          ASSERT_EQ(now.size(), standing.size() + 1);
          ASSERT_TRUE(now.count(name));
          EXPECT_GT(now.at(name).size(), 4000u);
          // What the write took is what the free figure lost, in whole clusters.
          const auto clusters = (static_cast<int64_t>(now.at(name).size()) + size.clusterBytes - 1) /
                                size.clusterBytes;
          EXPECT_EQ(DosFreeBytes(ThreadSharedRecord()), freeBefore - clusters * size.clusterBytes);
          standing = now;
        } else {
          // Refused for room, and no entry of it at all, not even an empty one.
          EXPECT_EQ(result, kDiskFull);
          EXPECT_EQ(now.size(), standing.size());
          EXPECT_EQ(DosFreeBytes(ThreadSharedRecord()), freeBefore);
        }
      }
      EXPECT_EQ(result, kDiskFull);
      EXPECT_EQ(written, 8);
      // The disc still takes a design that fits in what is left, and replacing a
      // design keeps the old one when the new can't be placed beside it.
      const std::string old = standing.at("D0.DST");
      const int16_t replaced = disc.Write(test::ZigzagDst(3000), "D0.DST");
      EXPECT_EQ(replaced, kDiskFull);
      EXPECT_EQ(FilesOf(disc.dir, disc.image).at("D0.DST"), old);
      ASSERT_EQ(disc.Write(test::ZigzagDst(20), "D0.DST"), 0);
      EXPECT_TRUE(FsckClean(disc.dir, disc.image));
      EXPECT_LT(FilesOf(disc.dir, disc.image).at("D0.DST").size(), 1000u);
      // Deletes give every cluster back.
      for (int i = 0; i < written; ++i) {
        EXPECT_EQ(disc.tavlin.DeleteFromDisc(0, "A:\\D" + std::to_string(i) + ".DST", OtherDOS), 0);
        EXPECT_TRUE(FsckClean(disc.dir, disc.image));
      }
      EXPECT_EQ(DosFreeBytes(ThreadSharedRecord()),
                size.freeBytes - (filler + size.clusterBytes - 1) / size.clusterBytes * size.clusterBytes);
      EXPECT_EQ(FilesOf(disc.dir, disc.image).size(), 1u);
    }
  });
}

TEST(DosSoundness, AFullRootIsRefusedWithItsOwnCode) {
  test::OnFreshThread([] {
    SoundDisc disc(kSizes[0]);
    std::vector<std::string> tiny;
    for (int i = 0; i < 111; ++i) {
      tiny.push_back(disc.dir / ("T" + std::to_string(i) + ".TXT"));
      test::WriteBytes(tiny.back(), "t");
    }
    disc.Mcopy(tiny);
    ASSERT_EQ(disc.Write(test::ZigzagDst(50), "LAST.DST"), 0);
    const std::string before = test::ReadBytes(disc.image);
    EXPECT_EQ(disc.Write(test::ZigzagDst(50), "MORE.DST"), kTooManyFiles);
    EXPECT_EQ(test::ReadBytes(disc.image), before);
    EXPECT_TRUE(FsckClean(disc.dir, disc.image));
    EXPECT_EQ(RunTimeCodeText(kTooManyFiles), "the disc's root directory is full");
    EXPECT_EQ(RunTimeCodeText(kDiskFull), "the disc is full");
  });
}

TEST(DosSoundness, ASectorFailingAnywhereInAWriteLeavesTheDiscAsItWas) {
  test::OnFreshThread([] {
    SoundDisc disc(kSizes[0]);
    // Files that must outlive the failures: one of mtools with a long name, two of ours,
    // one of which the failing write replaces.
    test::WriteBytes(disc.dir / "A long design name.DST", test::ZigzagDst(700));
    disc.Mcopy({disc.dir / "A long design name.DST"});
    ASSERT_EQ(disc.Write(test::ZigzagDst(300), "FIRST.DST"), 0);
    ASSERT_EQ(disc.Write(test::ZigzagDst(200), "SAME.DST"), 0);
    const std::string image = test::ReadBytes(disc.image);
    const int dataOffset = 512 * (1 + 2 * 3) + 112 * 32;
    const std::map<std::string, std::string> before = FilesOf(disc.dir, disc.image);
    ASSERT_EQ(before.size(), 3u);
    // Which sectors the write puts bytes on, found by a write that fails nowhere.
    PlatformState& platform = ThreadSharedRecord().platform;
    std::set<std::tuple<int, int, int>> touched;
    platform.fault = [&touched](SectorOp op, int track, int head, int sector) {
      if (op == SectorOp::Write) touched.insert({track, head, sector});
      return false;
    };
    const std::string design = test::ZigzagDst(1500);
    ASSERT_EQ(disc.Write(design, "SAME.DST"), 0);
    platform.fault = nullptr;
    // Data clusters, both FATs and the root sector: each of them fails once below.
    ASSERT_GE(touched.size(), 8u);
    EXPECT_TRUE(touched.count({0, 0, 2}) && touched.count({0, 0, 5}));
    int refused = 0;
    for (const auto& [track, head, sector] : touched) {
      SCOPED_TRACE(::testing::Message() << "failing " << track << "/" << head << "/" << sector);
      test::WriteBytes(disc.image, image);
      disc.Rebind();
      platform.fault = [t = track, h = head, s = sector](SectorOp op, int tr, int hd, int se) {
        return op == SectorOp::Write && tr == t && hd == h && se == s;
      };
      const int16_t result = disc.Write(design, "SAME.DST");
      platform.fault = nullptr;
      EXPECT_EQ(result, kPathFileAccess);
      refused += result != 0 ? 1 : 0;
      // Not a byte of the boot sector, FATs or root differs; what the data clusters
      // took lies in clusters that are free.
      EXPECT_EQ(SystemArea(disc.image, dataOffset), image.substr(0, static_cast<size_t>(dataOffset)));
      EXPECT_TRUE(FsckClean(disc.dir, disc.image));
      EXPECT_EQ(FilesOf(disc.dir, disc.image), before);
      // The volume in memory agrees with the disc: the next write goes through whole.
      ASSERT_EQ(disc.Write(test::ZigzagDst(100), "AFTER.DST"), 0);
      EXPECT_TRUE(FsckClean(disc.dir, disc.image));
      EXPECT_EQ(FilesOf(disc.dir, disc.image).size(), 4u);
    }
    EXPECT_EQ(refused, static_cast<int>(touched.size()));
  });
}

TEST(DosSoundness, AFileRewrittenInPlaceGetsItsOldBytesBackOnAFailure) {
  test::OnFreshThread([] {
    SoundDisc disc(kSizes[0]);
    const std::string design = test::ZigzagDst(600);
    ASSERT_EQ(disc.Write(design, "HUSLIKE.DST"), 0);
    const std::string stood = FilesOf(disc.dir, disc.image).at("HUSLIKE.DST");
    const std::string image = test::ReadBytes(disc.image);
    PlatformState& platform = ThreadSharedRecord().platform;
    // Bytes changed inside the file and past its end, then the root sector fails (the
    // size and date go there), or the second FAT (the new cluster goes there).
    for (int failing : {8, 5}) {
      SCOPED_TRACE(failing);
      test::WriteBytes(disc.image, image);
      disc.Rebind();
      platform.fault = [failing](SectorOp op, int track, int head, int sector) {
        return op == SectorOp::Write && track == 0 && head == 0 && sector == failing;
      };
      {
        const std::unique_ptr<FileBackend> file = OpenFile(platform, "A:\\HUSLIKE.DST");
        file->WriteAt(41, "\x01\x02\x03\x04", 4);
        const std::string more(3000, 'm');
        file->WriteAt(file->Length(), more.data(), more.size());
        EXPECT_THROW(file->Flush(), RunTimeError);
        EXPECT_THROW(file->WriteAt(0, "x", 1), RunTimeError);
      }
      platform.fault = nullptr;
      EXPECT_TRUE(FsckClean(disc.dir, disc.image));
      EXPECT_EQ(FilesOf(disc.dir, disc.image).at("HUSLIKE.DST"), stood);
    }
  });
}

TEST(DosSoundness, DeletesAndRenamesTakeLongNamesWithThem) {
  test::OnFreshThread([] {
    SoundDisc disc(kSizes[0]);
    test::WriteBytes(disc.dir / "Long design name number one.DST", test::ZigzagDst(100));
    test::WriteBytes(disc.dir / "Another long design name.DST", test::ZigzagDst(120));
    test::WriteBytes(disc.dir / "KEEP.DST", test::ZigzagDst(140));
    disc.Mcopy({disc.dir / "Long design name number one.DST", disc.dir / "Another long design name.DST",
                disc.dir / "KEEP.DST"});
    const std::vector<std::string> names = ListFiles(ThreadSharedRecord().platform, "A:\\*.*");
    ASSERT_EQ(names.size(), 3u);
    EXPECT_EQ(names[0].substr(0, 7), "LONGDE~");
    EXPECT_EQ(disc.tavlin.DeleteFromDisc(0, "A:\\" + names[0], OtherDOS), 0);
    EXPECT_TRUE(FsckClean(disc.dir, disc.image));
    RenameFile(ThreadSharedRecord().platform, "A:\\" + names[1], "A:\\SHORT.DST");
    EXPECT_TRUE(FsckClean(disc.dir, disc.image));
    const std::map<std::string, std::string> files = FilesOf(disc.dir, disc.image);
    ASSERT_EQ(files.size(), 2u);
    EXPECT_EQ(files.at("SHORT.DST"), test::ZigzagDst(120));
    EXPECT_EQ(files.at("KEEP.DST"), test::ZigzagDst(140));
    // A name that stands already is not renamed over.
    try {
      RenameFile(ThreadSharedRecord().platform, "A:\\SHORT.DST", "A:\\KEEP.DST");
      ADD_FAILURE() << "renamed over KEEP.DST";
    } catch (const RunTimeError& e) {
      EXPECT_EQ(e.Code(), kFileAlreadyExists);
    }
  });
}

TEST(DosSoundness, WhatWeWriteCarriesTodaysDateAndTime) {
  test::OnFreshThread([] {
    SoundDisc disc(kSizes[1]);
    auto today = [] {
      const std::time_t now = std::time(nullptr);
      std::tm local{};
      localtime_r(&now, &local);
      return std::make_pair(((local.tm_year - 80) << 9) | ((local.tm_mon + 1) << 5) | local.tm_mday,
                            local.tm_hour * 60 + local.tm_min);
    };
    const auto [dayBefore, minuteBefore] = today();
    ASSERT_EQ(disc.Write(test::ZigzagDst(100), "DATED.DST"), 0);
    const auto [dayAfter, minuteAfter] = today();
    // The first entry of the root, after the boot sector and two 9-sector FATs.
    const std::string entry = test::ReadBytes(disc.image).substr(512 * 19, 32);
    ASSERT_EQ(entry.substr(0, 11), "DATED   DST");
    auto field = [&entry](size_t at) {
      return static_cast<uint8_t>(entry[at]) | (static_cast<uint8_t>(entry[at + 1]) << 8);
    };
    for (size_t dateAt : {16u, 18u, 24u}) {
      EXPECT_TRUE(field(dateAt) == dayBefore || field(dateAt) == dayAfter) << dateAt;
    }
    const int minute = (field(22) >> 11) * 60 + ((field(22) >> 5) & 63);
    EXPECT_TRUE(minute >= minuteBefore || dayAfter != dayBefore);
    EXPECT_LE(minute, minuteAfter + (dayAfter != dayBefore ? 24 * 60 : 0));
    // mdir shows the same day.
    char shown[16];
    const int day = field(24);
    std::snprintf(shown, sizeof shown, "%04d-%02d-%02d", 1980 + (day >> 9), (day >> 5) & 15, day & 31);
    EXPECT_NE(Shell(disc.dir, "mdir -i " + disc.image + " ::").out.find(shown), std::string::npos) << shown;
  });
}

}  // namespace
}  // namespace tavlin
