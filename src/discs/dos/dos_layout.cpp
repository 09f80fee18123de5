// The empty file system of a DOS disc: boot sector, two FATs, the root. The class's
// 720 KB layout keeps its historic boot sector; the sound layouts carry the extended
// boot record (signature, serial, "NO NAME" label, "FAT12") that today's systems check.
#include <cstdint>
#include <ctime>

#include "conversion/numbers.h"
#include "discs/dos/dos_disc.h"
#include "services/sector_service.h"
#include "services/track_formatting.h"

namespace tavlin {

namespace {

std::string Padded(std::string bytes, size_t size) {
  bytes.resize(size, '\0');
  return bytes;
}

std::string FatSector() { return Padded("\xF9\xFF\xFF", 512); }

// The message the boot sector prints when a machine is started from the disc.
std::string NotABootDiscMessage() {
  auto lines = [](int n) {
    std::string ends;
    for (int i = 0; i < n; ++i) ends += "\r\n";
    return ends;
  };
  return lines(8) + std::string(30, ' ') + "Hey Dude, Yes You!" + lines(2) +
         std::string(26, ' ') + "This Disc Ain't A Boot Disc" + lines(2) +
         std::string(23, ' ') + "So Take It Out And Press Any Key." + lines(5) +
         std::string(23, ' ') + "May The Force Be With You Brisk 1" + lines(3) +
         "Tarnwick Software.";
}

// Prints the message at `messageAt` through the BIOS, waits for a key, and boots again.
std::string StartCode(uint8_t messageAt) {
  static constexpr uint8_t kStartCode[50] = {
      0xFA, 0x33, 0xC0, 0x8E, 0xD0, 0xBC, 0xF0, 0x7B, 0xFB, 0xB8, 0xC0, 0x07, 0x8E,
      0xD8, 0xBE, 0x5C, 0x00, 0x90, 0x90, 0xFC, 0xAC, 0x0A, 0xC0, 0x74, 0x0B, 0x56,
      0xB4, 0x0E, 0xBB, 0x07, 0x00, 0xCD, 0x10, 0x5E, 0xEB, 0xF0, 0x32, 0xE4, 0xCD,
      0x16, 0xB4, 0x0F, 0xCD, 0x10, 0x32, 0xE4, 0xCD, 0x10, 0xCD, 0x19};
  std::string code(reinterpret_cast<const char*>(kStartCode), sizeof kStartCode);
  code[15] = static_cast<char>(messageAt);  // the operand of "mov si, message"
  return code;
}

struct DosGeometry {
  int sectorsPerTrack;
  int sectorsPerCluster;
  int rootEntries;
  int totalSectors;
  uint8_t media;
  int sectorsPerFat;
};

constexpr DosGeometry kDos720{9, 2, 112, 1440, 0xF9, 3};
constexpr DosGeometry kDos1440{18, 1, 224, 2880, 0xF0, 9};

// A boot sector as today's formatters write it: the jump over the extended boot
// record, the record with its label field, then the start code and its message.
std::string SoundBootSector(const DosGeometry& g) {
  std::string boot("\xEB\x3C\x90", 3);
  boot += "MSDOS5.0";  // the maker name most firmware has met
  boot += IntToBytes2(512);
  boot += static_cast<char>(g.sectorsPerCluster);
  boot += IntToBytes2(1);
  boot += '\x02';
  boot += IntToBytes2(g.rootEntries);
  boot += IntToBytes2(g.totalSectors);
  boot += static_cast<char>(g.media);
  boot += IntToBytes2(g.sectorsPerFat);
  boot += IntToBytes2(g.sectorsPerTrack);
  boot += IntToBytes2(2);
  boot += std::string(8, '\0');  // hidden sectors, large sector count
  boot += '\0';                  // drive number
  boot += '\0';
  boot += '\x29';                // the extended record follows
  // A serial from the clock, as formatters do, so that two discs are told apart.
  boot += IntToBytes4(static_cast<int32_t>(std::time(nullptr) & 0x7FFFFFFF));
  boot += "NO NAME    ";
  boot += "FAT12   ";
  const auto messageAt = static_cast<uint8_t>(boot.size() + 50);
  boot += StartCode(messageAt);
  boot += NotABootDiscMessage();
  boot.push_back('\0');
  boot = Padded(boot, 510);
  boot += "\x55\xAA";
  return boot;
}

// Every sector of the boot sector, both FATs and the root, by track, head and sector:
// a fresh track holds 0xE5 bytes, which a FAT or a root must not.
std::vector<LayoutWrite> SoundEmptyLayout(const DosGeometry& g) {
  std::vector<LayoutWrite> writes;
  auto put = [&](int lba, std::string bytes) {
    const int side = lba / g.sectorsPerTrack;
    writes.push_back({side / 2, side % 2, lba % g.sectorsPerTrack + 1, std::move(bytes), 4});
  };
  put(0, SoundBootSector(g));
  std::string firstFat = Padded("\xFF\xFF\xFF", 512);
  firstFat[0] = static_cast<char>(g.media);
  for (int copy = 0; copy < 2; ++copy) {
    for (int s = 0; s < g.sectorsPerFat; ++s) {
      put(1 + copy * g.sectorsPerFat + s, s == 0 ? firstFat : std::string(512, '\0'));
    }
  }
  const int rootSectors = g.rootEntries * 32 / 512;
  for (int s = 0; s < rootSectors; ++s) put(1 + 2 * g.sectorsPerFat + s, std::string(512, '\0'));
  return writes;
}

}  // namespace

std::vector<LayoutWrite> DosSoundEmptyLayout720() { return SoundEmptyLayout(kDos720); }
std::vector<LayoutWrite> DosEmptyLayout1440() { return SoundEmptyLayout(kDos1440); }

std::string BuildBootSector() {
  std::string boot("\xEB\x28\x90", 3);
  boot += "BRISK v1";
  boot += IntToBytes2(512);
  boot += '\x02';
  boot += IntToBytes2(1);
  boot += '\x02';
  boot += IntToBytes2(112);
  boot += IntToBytes2(1440);
  boot += '\xF9';
  boot += IntToBytes2(3);
  boot += IntToBytes2(9);
  boot += IntToBytes2(2);
  boot += std::string(14, '\0');
  boot += StartCode(0x5C);
  const std::string message = NotABootDiscMessage();
  boot += Padded(message, 271);
  return Padded(boot, 500);
}

std::vector<LayoutWrite> DosEmptyLayout() {
  // The boot sector and the FATs must go (four tries); the rest is written once.
  std::vector<LayoutWrite> writes = {{0, 0, 1, Padded(BuildBootSector(), 512), 4},
                                     {0, 0, 5, FatSector(), 4},
                                     {0, 0, 2, FatSector(), 4}};
  for (int sector : {3, 4, 6, 7, 8, 9}) writes.push_back({0, 0, sector, std::string(512, '\0'), 1});
  for (int sector = 1; sector <= 6; ++sector) writes.push_back({0, 1, sector, std::string(512, '\0'), 1});
  return writes;
}

int16_t FormatSoundDos(SharedRecord& shared, bool highDensity) {
  SetVector51232(shared.platform);
  if (highDensity) {
    SetDiscDSHD32(shared.platform);
  } else {
    SetDiscDSDD32(shared.platform);
  }
  for (const LayoutWrite& write : highDensity ? DosEmptyLayout1440() : DosSoundEmptyLayout720()) {
    if (!WriteFormattedSector(shared, write.track, write.head, write.sector, write.bytes,
                              write.attempts)) {
      return 1;
    }
  }
  return 0;
}

}  // namespace tavlin
